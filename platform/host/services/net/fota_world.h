// The update service's world of a real update server: detection, download, installation.
#pragma once

#include "services/sim_online_update_state.h"

// States this world raises besides the scripted world's, as state pairs
// (63001) with a FotaFailure: a detection that failed, an installation that
// failed (nothing installed). A download that failed ends with (30, failure).
inline constexpr int32_t kFotaStateDetectFailed = 11;
inline constexpr int32_t kFotaStateInstallFailed = 81;

// Reads what the run directory keeps (the module's own version, an update
// found earlier and its package so far) into s, whose lock the caller holds,
// before the worker starts. False when this world cannot run.
bool fota_world_start(FotaSim& s);
// The service's thread in this world.
void* fota_world_worker(void*);

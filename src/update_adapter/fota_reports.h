// FOTA state reports: the update adapter's notify callbacks and the reports they send.
#pragma once

#include <cstdint>

#include "online_update.h"

// Report identifier (m_id) of every FOTA report.
inline constexpr uint32_t FOTA_REPORT_ID = 56;

extern "C" {
// First callback of module 63: event 63000 reports the FotaStateInfo at a1
// (a2 bytes long); any other event gives -1.
int32_t update_notify_handler(uint32_t event, uintptr_t a1, uintptr_t a2);
// Second callback of module 63: events 63001 to 63003; any other gives -1.
int32_t update_event_dispatch(uint32_t event, uintptr_t a1, uintptr_t a2);
}

// Each returns 0 when its report was sent, else -1 (or the failed request's
// result for the last state).
int32_t at_update_state_report(const FotaStateInfo* info, uint32_t length);
int32_t at_update_state_asy_report(int32_t a, int32_t b);
int32_t at_update_state_get_last_info_report(void);
int32_t at_update_policy_report(void);

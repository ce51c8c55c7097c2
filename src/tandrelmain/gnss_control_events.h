// Handlers of the GNSS control events of module 58 (58002 to 58013, 58015).
#pragma once

#include <cstdint>

// Each takes the event's payload pointer as a1 (a2 is not used), copies what
// it needs into zeroed local buffers and calls one GNSS control operation.
// 0, or -1 for a null payload (and for a radio value above 1); the
// operation's own result is not passed on.
int32_t nl_gps_getcap_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_set_timeout_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_set_niallow_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_set_opermode_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_Control_fixsession_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_Set_NMEAlogging_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_set_gpsresetengine_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_set_agnssver_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_set_suplurl_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_injtime_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_injpos_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_clear_agnss_process(uintptr_t a1, uintptr_t a2);
int32_t nl_gps_set_gnss_radio_process(uintptr_t a1, uintptr_t a2);

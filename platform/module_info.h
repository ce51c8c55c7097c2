// Platform module queries and start-up helpers.
#pragma once

#include <cstdint>

extern "C" {
// The module type (hardware variant) of this module.
int32_t GetM2MType(void);
// Writes the process id into the platform's pid file of that name; 0 on success.
int32_t store_pid(const char* name);
// Start-up check of the firmware update state; its result is informational.
int32_t boot_check_update_info(void);
// Writes the module's software version into version (66 bytes): the text
// starts at byte 2. 0 on success.
int32_t AT_Cgmr(char* version);
// Sets a dynamic application status; 1 on failure.
int32_t QSP_UTIL_UpdateDynAppStatus(const char* app, int32_t status);
}

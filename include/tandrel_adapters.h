// Start-up entry points of the adapters and the GNSS client callbacks they own.
#pragma once

#include <cstdint>

// C linkage, so that their names are the same on every compiler and target.
extern "C" {
int32_t at_ipstack_init(void);
int32_t at_tts_init(void);
int32_t at_update_init(void);
int32_t at_recorder_init(void);
}

extern "C" {
void AT_status_cb(void* status);
void AT_nmea_cb(int64_t timestamp, const char* text, int32_t length);
void AT_nipara_cb(void* ni_record);
}

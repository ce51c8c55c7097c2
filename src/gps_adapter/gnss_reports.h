// GNSS client callbacks and report senders, and the fix-sentence builder with its field readers.
#pragma once

#include <cstdint>

#include "tandrel_adapters.h"  // AT_status_cb, AT_nmea_cb, AT_nipara_cb

// Copy of a sentence to the NMEA port while a fix session is open.
void AT_gnss_nmea_port_cb(int64_t timestamp, const char* text, int32_t length);
// Builds "$GPFIXSL", "$GPFIXBD" and "$GPFIXAD" from the client's sentences
// while a fix session is open.
void GNSS_IOCTRL_Getfixdata(int64_t timestamp, const char* text, int32_t length);
// First character of field n (fields separated by ',') in [start, end), or
// null when the field is missing or empty (begins with ',', '*', CR or LF).
const char* at_find_field(uint32_t n, const char* start, const char* end);
// Copies the number that begins field n of a 255-byte text into out (at most
// out_size - 1 characters); 1 on success, 0 otherwise.
int32_t at_get_number_field(uint32_t n, char* text, char* out, uint32_t out_size);
// Reports a failed control operation as "$GPERR" on the NMEA route.
void GNSS_IOCTRL_ReportErr(const char* tag, int32_t code);
// Sends "$GPCAP" then "$GPCHP" with the vendor and product ids (4 characters
// each) and the software version. 0, or -1 when no buffer could be had.
int32_t GNSS_IOCTRL_GetInfo(const char* vid, const char* pid);

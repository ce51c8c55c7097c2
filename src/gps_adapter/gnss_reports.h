// Senders of the GNSS reports and sentences, and the fix-sentence builder they feed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tandrel_adapters.h"  // AT_status_cb, AT_nmea_cb, AT_nipara_cb

// Longest text a report carries (m_buffer less its NUL).
inline constexpr size_t GNSS_REPORT_TEXT_MAX = 10203;

// Length of a sentence handed over with a length: the smaller of its strlen
// and length, never reading past length or cap characters. A length of 0 or
// less gives 0.
size_t gnss_text_length(const char* text, int32_t length, size_t cap);

// Copy of a sentence to the NMEA port while a fix session is open.
void AT_gnss_nmea_port_cb(int64_t timestamp, const char* text, int32_t length);
// Builds "$GPFIXSL", "$GPFIXBD" and "$GPFIXAD" from the client's sentences
// while a fix session is open.
void GNSS_IOCTRL_Getfixdata(int64_t timestamp, const char* text, int32_t length);
// Sends one fix sentence to the GNSS side.
void AT_Gnss_nmea_cb(int64_t timestamp, const char* text, int32_t length);
// Sends "$GPCAP" or "$GPCHP" to the GNSS side.
void AT_Gnss_info_send(const char* text, int32_t length);
// Reports a failed control operation as "$GPERR" on the NMEA route.
void GNSS_IOCTRL_ReportErr(const char* tag, int32_t code);
// Sends "$GPCAP" then "$GPCHP" with the vendor and product ids (4 characters
// each) and the software version. 0, or -1 when no buffer could be had.
int32_t GNSS_IOCTRL_GetInfo(const char* vid, const char* pid);

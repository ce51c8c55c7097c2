// State of the navigation receiver test (^NAVTYPE, ^NAVENABLE, ^NAVFREQ, ^NAVRX) and its carriers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// Navigation systems of the receiver test.
inline constexpr int32_t NAV_TYPE_GPS = 1;
inline constexpr int32_t NAV_TYPE_GLONASS = 2;
inline constexpr int32_t NAV_TYPE_NONE = 4;  // no ^NAVTYPE set yet

// Test carriers in Hz: entry 0 the GPS L1 carrier, entries 1 to 14 the
// GLONASS L1 channels k = -7 .. +6 at 1602 MHz + k x 562.5 kHz.
inline constexpr size_t NAV_FREQ_COUNT = 15;
extern const std::array<uint32_t, NAV_FREQ_COUNT> g_NavFreqTable;

// Set and read only by the receiver test commands on the message-loop
// thread; nothing here survives a restart.
extern int32_t g_NavType;
extern int32_t g_NavTypeSet;
extern int32_t g_NavEnable;
extern int32_t g_NavFreqMhz;
extern int32_t g_NavFreqKhz;
extern int32_t g_NavFreqHz;
extern int32_t g_NavFreqSet;

// Whether f (Hz) is a test carrier of the navigation system.
bool gnss_nav_freq_valid(int32_t nav_type, uint64_t f);
// Puts the receiver test back to its start values (no type, no frequency,
// disarmed).
void gnss_navigation_reset(void);

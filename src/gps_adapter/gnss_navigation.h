// Navigation receiver test (^NAVTYPE, ^NAVENABLE, ^NAVFREQ, ^NAVRX): systems, carrier check, reset.
#pragma once

#include <cstdint>

// Navigation systems of the receiver test.
inline constexpr int32_t NAV_TYPE_GPS = 1;
inline constexpr int32_t NAV_TYPE_GLONASS = 2;
inline constexpr int32_t NAV_TYPE_NONE = 4;  // no ^NAVTYPE set yet

// Whether f (Hz) is a test carrier of the navigation system.
bool gnss_nav_freq_valid(int32_t nav_type, uint64_t f);

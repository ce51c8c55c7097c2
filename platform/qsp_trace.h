// Platform trace: the daemon's only log.
#pragma once

#include <cstdint>

inline constexpr uint32_t TRACE_LEVEL_ERROR = 2;
inline constexpr uint32_t TRACE_LEVEL_INFO = 8;
inline constexpr uint32_t TRACE_LEVEL_DEBUG = 16;

extern "C" {
// Writes one trace: source file, line, a module number (0 for the daemon),
// tag, level and a printf-style text.
void QSP_TRACE_PrintInfo(const char* file, int line, int module, const char* tag, uint32_t level,
                         const char* fmt, ...) __attribute__((format(printf, 6, 7)));
}

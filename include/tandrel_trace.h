// Trace calls of the daemon: the platform trace with the source file, line and tag.
#pragma once

#include "qsp_trace.h"

// The file name (without directories) of a source path, at compile time.
constexpr const char* tandrel_file_name(const char* path) {
    const char* name = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '/') {
            name = p + 1;
        }
    }
    return name;
}

#define TANDREL_TRACE_TAG(tag, level, ...) \
    QSP_TRACE_PrintInfo(tandrel_file_name(__FILE__), __LINE__, 0, tag, level, __VA_ARGS__)

// Most of the daemon traces under "tandrel".
inline constexpr char TANDREL_TAG[] = "tandrel";
#define TANDREL_TRACE(level, ...) TANDREL_TRACE_TAG(TANDREL_TAG, level, __VA_ARGS__)

// Host module queries and start-up helpers: module type, software version, pid file, application status.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host_env.h"
#include "module_info.h"
#include "osa.h"
#include "tandrel_trace.h"

extern "C" int32_t GetM2MType(void) {
    int64_t type = 0;
    host_env_number("TANDREL_M2M_TYPE", INT32_MIN, INT32_MAX, &type);
    return static_cast<int32_t>(type);
}

// The host's software version; the text starts at byte 2 of the 66-byte
// buffer.
extern "C" int32_t AT_Cgmr(char* version) {
    constexpr size_t kVersionBuf = 66;
    if (version == nullptr) {
        return -1;
    }
    memset(version, 0, kVersionBuf);
    strncpy_s(version + 2, kVersionBuf - 2, "TANDREL-HOST-1.0", kVersionBuf - 3);
    return 0;
}

// Written to a temporary file and renamed, so a reader never sees half a pid.
extern "C" int32_t store_pid(const char* name) {
    char path[4096];
    char tmp[4096 + 8];
    if (!host_run_path(name, path, sizeof path) ||
        snprintf(tmp, sizeof tmp, "%s.tmp", path) >= static_cast<int>(sizeof tmp)) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "store_pid %s: no usable path in the run directory\n",
                          name != nullptr ? name : "(null)");
        return -1;
    }
    const int fd = open(tmp, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "store_pid %s: open failed, errno %d\n", tmp, errno);
        return -1;
    }
    char text[24];
    const int n = snprintf(text, sizeof text, "%d\n", static_cast<int>(getpid()));
    const bool written = write(fd, text, static_cast<size_t>(n)) == n;
    close(fd);
    if (!written || rename(tmp, path) != 0) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "store_pid %s: write failed, errno %d\n", path, errno);
        unlink(tmp);
        return -1;
    }
    return 0;
}

// The host keeps no application status table; the change is only traced.
extern "C" int32_t QSP_UTIL_UpdateDynAppStatus(const char* app, int32_t status) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO, "application status %s = %d\n",
                      app != nullptr ? app : "(null)", status);
    return 0;
}

// Host NV items: one file per item in the run directory, replaced atomically on every write.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "host_env.h"
#include "nv_item.h"
#include "tandrel_trace.h"

namespace {

constexpr size_t kPathSize = 4096;

// Writers share one temporary name per item, so they take turns.
std::mutex g_nv_mutex;

bool item_path(uint32_t item, char* path, size_t size) {
    char name[32];
    (void)snprintf(name, sizeof name, "nv_%u.bin", static_cast<unsigned>(item));  // always fits
    return host_run_path(name, path, size);
}

bool read_all(int fd, uint8_t* p, size_t n) {
    while (n > 0) {
        const ssize_t r = read(fd, p, n);
        if (r < 0 && errno == EINTR) {
            continue;
        }
        if (r <= 0) {
            return false;
        }
        p += r;
        n -= static_cast<size_t>(r);
    }
    return true;
}

}  // namespace

extern "C" int32_t NV_Read(uint32_t item, void* data, uint32_t size) {
    char path[kPathSize];
    if (data == nullptr || !item_path(item, path, sizeof path)) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "NV_Read %u: no data buffer or no run directory\n",
                          static_cast<unsigned>(item));
        return -1;
    }
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT) {
        memset(data, 0, size);
        return 0;
    }
    if (fd < 0) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "NV_Read %s: open failed, errno %d\n", path, errno);
        return -1;
    }
    // Items are written whole, so a file of another size is not this item.
    struct stat st {};
    const bool ok = fstat(fd, &st) == 0 && st.st_size == static_cast<off_t>(size) &&
                    read_all(fd, static_cast<uint8_t*>(data), size);
    close(fd);
    if (!ok) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "NV_Read %s: not an item of %u bytes\n", path,
                          static_cast<unsigned>(size));
        return -1;
    }
    return 0;
}

extern "C" int32_t NV_Write(uint32_t item, const void* data, uint32_t size) {
    char name[32];
    (void)snprintf(name, sizeof name, "nv_%u.bin", static_cast<unsigned>(item));  // always fits
    if (data == nullptr) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "NV_Write %u: no data\n",
                          static_cast<unsigned>(item));
        return -1;
    }
    const std::lock_guard<std::mutex> lock(g_nv_mutex);
    if (!host_replace_run_file(name, data, size, 0600)) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "NV_Write %s: write failed, errno %d\n", name,
                          errno);
        return -1;
    }
    return 0;
}

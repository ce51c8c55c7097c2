// Host configuration from the environment (the run directory, numeric variables) and the
// durable writes of files in the run directory.
#include "host_env.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tandrel_trace.h"

namespace {

constexpr char kDefaultRunDir[] = "run";

// mkdir -p, new components private to the user.
bool make_dirs(const std::string& path) {
    for (size_t i = 1; i <= path.size(); ++i) {
        if (i != path.size() && path[i] != '/') {
            continue;
        }
        const std::string part = path.substr(0, i);
        if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
            TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "run directory %s: mkdir %s failed, errno %d\n",
                              path.c_str(), part.c_str(), errno);
            return false;
        }
    }
    return true;
}

// Other processes post events into this directory and the daemon's pid and
// NV files live there: it must be ours.
std::string open_run_dir() {
    const char* env = getenv("TANDREL_RUN_DIR");
    std::string dir = env != nullptr && env[0] != '\0' ? env : kDefaultRunDir;
    while (dir.size() > 1 && dir.back() == '/') {
        dir.pop_back();
    }
    if (!make_dirs(dir)) {
        return {};
    }
    struct stat st {};
    if (stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "run directory %s is not a directory\n",
                          dir.c_str());
        return {};
    }
    if (st.st_uid != geteuid() && geteuid() != 0) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "run directory %s belongs to uid %u, not to us\n",
                          dir.c_str(), static_cast<unsigned>(st.st_uid));
        return {};
    }
    return dir;
}

}  // namespace

const char* host_run_dir(void) {
    // Decided once: every file of a run lands in the same place.
    static const std::string* dir = new std::string(open_run_dir());
    return dir->empty() ? nullptr : dir->c_str();
}

bool host_run_path(const char* name, char* out, size_t out_size) {
    const char* dir = host_run_dir();
    if (dir == nullptr || name == nullptr || name[0] == '\0' || strchr(name, '/') != nullptr ||
        out == nullptr) {
        return false;
    }
    const int n = snprintf(out, out_size, "%s/%s", dir, name);
    return n > 0 && static_cast<size_t>(n) < out_size;
}

bool host_env_number(const char* name, int64_t min, int64_t max, int64_t* out) {
    const char* text = getenv(name);
    if (text == nullptr || text[0] == '\0') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const long long v = strtoll(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || v < min || v > max) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "%s=%s is not a number in %lld..%lld: ignored\n",
                          name, text, static_cast<long long>(min), static_cast<long long>(max));
        return false;
    }
    *out = v;
    return true;
}

bool host_write_all(int fd, const void* data, size_t n, off_t at) {
    const auto* p = static_cast<const char*>(data);
    while (n > 0) {
        const ssize_t w = pwrite(fd, p, n, at);
        if (w < 0 && errno == EINTR) {
            continue;
        }
        if (w <= 0) {
            if (w == 0) {
                errno = ENOSPC;
            }
            return false;
        }
        p += w;
        n -= static_cast<size_t>(w);
        at += w;
    }
    return true;
}

bool host_replace_run_file(const char* name, const void* data, size_t n, mode_t mode) {
    char path[PATH_MAX];
    char tmp[PATH_MAX + 8];
    if (!host_run_path(name, path, sizeof path)) {
        errno = ENOENT;
        return false;
    }
    (void)snprintf(tmp, sizeof tmp, "%s.tmp", path);  // always fits
    const int fd = open(tmp, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (fd < 0) {
        return false;
    }
    const bool written = host_write_all(fd, data, n, 0) && fsync(fd) == 0;
    const int saved = errno;
    close(fd);
    if (!written || rename(tmp, path) != 0) {
        const int why = written ? errno : saved;
        unlink(tmp);
        errno = why;
        return false;
    }
    host_sync_run_dir();
    return true;
}

void host_sync_run_dir(void) {
    const char* dir = host_run_dir();
    const int fd = dir != nullptr ? open(dir, O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
    if (fd >= 0) {
        (void)fsync(fd);  // a directory that cannot be synced leaves nothing better to do
        close(fd);
    }
}

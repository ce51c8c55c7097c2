// Host trace: one line per call with time, level, file:line and tag, to stderr or the TANDREL_TRACE file.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include "qsp_trace.h"

namespace {

struct Sink {
    int fd = STDERR_FILENO;
    uint32_t level = TRACE_LEVEL_INFO;  // traces up to this level are written
    std::mutex mu;                      // keeps lines whole when threads trace at once
};

Sink* open_sink() {
    auto* s = new Sink;
    if (const char* lv = getenv("TANDREL_TRACE_LEVEL"); lv != nullptr && lv[0] != '\0') {
        char* end = nullptr;
        const unsigned long v = strtoul(lv, &end, 10);
        if (*end == '\0' && v <= UINT32_MAX) {
            s->level = static_cast<uint32_t>(v);
        }
    }
    if (const char* path = getenv("TANDREL_TRACE"); path != nullptr && path[0] != '\0') {
        const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (fd >= 0) {
            s->fd = fd;
        } else {
            dprintf(STDERR_FILENO, "trace file %s cannot be opened (errno %d): tracing to stderr\n",
                    path, errno);
        }
    }
    return s;
}

// Never destroyed: threads may trace while the process exits.
Sink& sink() {
    static Sink* s = open_sink();
    return *s;
}

bool is_trim(char c) { return c == '\r' || c == '\n' || c == ' '; }

// Appends text to out[pos..cap) with the line breaks the daemon's texts carry
// at their ends dropped and everything else that is not printable ASCII
// escaped, so one call stays one line.
size_t append_escaped(char* out, size_t pos, size_t cap, const char* text) {
    const char* begin = text;
    const char* end = text;
    while (*end != '\0') {
        ++end;
    }
    while (begin < end && is_trim(*begin)) {
        ++begin;
    }
    while (end > begin && is_trim(end[-1])) {
        --end;
    }
    for (const char* p = begin; p < end && pos + 4 < cap; ++p) {
        const auto c = static_cast<unsigned char>(*p);
        if (c == '\r' || c == '\n') {
            out[pos++] = '\\';
            out[pos++] = c == '\r' ? 'r' : 'n';
        } else if (c < 0x20 || c >= 0x7F) {
            pos += static_cast<size_t>(snprintf(out + pos, cap - pos, "\\x%02x", c));
        } else {
            out[pos++] = static_cast<char>(c);
        }
    }
    return pos;
}

}  // namespace

extern "C" void QSP_TRACE_PrintInfo(const char* file, int line, int /*module*/, const char* tag,
                                    uint32_t level, const char* fmt, ...) {
    Sink& s = sink();
    if (level > s.level || fmt == nullptr) {
        return;
    }
    char text[4096];
    va_list ap;
    va_start(ap, fmt);
    const int n = vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    if (n < 0) {
        return;
    }

    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char stamp[32];
    if (strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local) == 0) {
        stamp[0] = '\0';  // the buffer holds any date; an empty stamp rather than garbage
    }

    // The line's head and text stop short of the end of `out`, which keeps
    // room for the cut mark and the newline.
    char out[8192];
    constexpr char kCut[] = " [cut]";
    constexpr size_t kLineCap = sizeof out - sizeof kCut - 1;
    const int head = snprintf(out, kLineCap, "%s.%06ld L%u %s:%d %s: ", stamp, now.tv_nsec / 1000,
                              level, file != nullptr ? file : "?", line, tag != nullptr ? tag : "?");
    if (head < 0) {
        return;
    }
    size_t pos = static_cast<size_t>(head) < kLineCap ? static_cast<size_t>(head) : kLineCap - 1;
    pos = append_escaped(out, pos, kLineCap, text);
    if (static_cast<size_t>(n) >= sizeof text) {
        memcpy(out + pos, kCut, sizeof kCut - 1);
        pos += sizeof kCut - 1;
    }
    out[pos++] = '\n';

    std::lock_guard<std::mutex> lock(s.mu);
    for (size_t done = 0; done < pos;) {
        const ssize_t w = write(s.fd, out + done, pos - done);
        if (w < 0 && errno == EINTR) {
            continue;
        }
        if (w <= 0) {
            break;
        }
        done += static_cast<size_t>(w);
    }
}

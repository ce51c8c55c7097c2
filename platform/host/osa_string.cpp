// Bounded memory and string calls of the platform, as the host provides them.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "osa.h"

namespace {
constexpr int kErrRange = 34;  // the request did not fit: as much as fits was done
constexpr int kErrInvalid = 22;
}  // namespace

extern "C" int osa_memcpy_s(void* dst, size_t dst_size, const void* src, size_t count) {
    if (dst == nullptr || (src == nullptr && count != 0)) {
        return kErrInvalid;
    }
    const size_t n = std::min(count, dst_size);
    if (n != 0) {
        memmove(dst, src, n);
    }
    return n == count ? 0 : kErrRange;
}

extern "C" int osa_memset_s(void* dst, size_t dst_size, int c, size_t count) {
    if (dst == nullptr) {
        return kErrInvalid;
    }
    const size_t n = std::min(count, dst_size);
    memset(dst, c, n);
    return n == count ? 0 : kErrRange;
}

extern "C" int strncpy_s(char* dst, size_t dst_size, const char* src, size_t count) {
    if (dst == nullptr || dst_size == 0) {
        return kErrInvalid;
    }
    if (src == nullptr) {
        dst[0] = '\0';
        return kErrInvalid;
    }
    const size_t want = strnlen(src, count);
    const size_t n = want < dst_size ? want : dst_size - 1;
    memmove(dst, src, n);
    dst[n] = '\0';
    return n == want ? 0 : kErrRange;
}

extern "C" int new_snprintf_s(char* dst, size_t dst_size, size_t count, const char* fmt, ...) {
    if (dst == nullptr || dst_size == 0 || fmt == nullptr) {
        return -1;
    }
    const size_t limit = (count < dst_size - 1 ? count : dst_size - 1) + 1;
    va_list ap;
    va_start(ap, fmt);
    const int n = vsnprintf(dst, limit, fmt, ap);
    va_end(ap);
    if (n < 0) {
        dst[0] = '\0';
        return -1;
    }
    return static_cast<size_t>(n) < limit ? n : -1;
}

extern "C" int osa_stricmp(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) {
        return a == b ? 0 : (a == nullptr ? -1 : 1);
    }
    return strcasecmp(a, b);
}

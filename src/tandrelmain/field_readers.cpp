// GNSS result mapping and the comma-field readers used on NMEA-style texts.
#include <cstdlib>

#include "osa.h"
#include "tandrel_core.h"

namespace {

constexpr uint32_t kGpsCodeFirst = 276;
constexpr int8_t kGpsRetenum[] = {88, 89, 90, 91, 20, 92, 93, 94, 95, 96, 20, 97};

// at_get_number_field reads texts of this size.
constexpr size_t kFieldTextSize = 255;

}  // namespace

int32_t gps_errcode_to_retenum(uint32_t code) {
    if (code < kGpsCodeFirst || code - kGpsCodeFirst >= sizeof kGpsRetenum) {
        return AT_RET_NO_HANDLER;
    }
    return kGpsRetenum[code - kGpsCodeFirst];
}

const char* at_find_field(uint32_t n, const char* start, const char* end) {
    if (start == nullptr || end == nullptr) {
        return nullptr;
    }
    const char* p = start;
    while (n > 0) {
        if (p >= end) {
            return nullptr;
        }
        if (*p++ == ',') {
            --n;
        }
    }
    if (p >= end || *p == ',' || *p == '*' || *p == '\r' || *p == '\n') {
        return nullptr;
    }
    return p;
}

int32_t at_get_number_field(uint32_t n, char* text, char* out, uint32_t out_size) {
    // An output without room for a single character cannot take a number.
    if (text == nullptr || out == nullptr || out_size == 0) {
        return 0;
    }
    const char* p = at_find_field(n, text, text + kFieldTextSize);
    if (p == nullptr || p >= text + kFieldTextSize) {
        return 0;
    }
    // The text need not be terminated: its last byte is NUL while strtod runs.
    const char saved = text[kFieldTextSize - 1];
    text[kFieldTextSize - 1] = '\0';
    char* stop = nullptr;
    (void)strtod(p, &stop);
    text[kFieldTextSize - 1] = saved;
    if (stop == p) {
        return 0;
    }
    strncpy_s(out, out_size, p, static_cast<size_t>(stop - p));
    return 1;
}

// Fix sentences built from the client's NMEA, their caches, and the comma-field readers they use.
#include <cstdlib>
#include <cstring>

#include "gnss_reports.h"
#include "gnss_state.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"

namespace {

constexpr size_t kWorkSize = 255;  // sentence copy and every built sentence
constexpr size_t kFieldCount = 50;
constexpr size_t kFieldSize = 50;  // 49 characters and the NUL
constexpr size_t kNameLen = 6;
// at_get_number_field reads texts of this size.
constexpr size_t kFieldTextSize = 255;

// The last GGA fix, waiting for the speed values of the position extension
// that follows it.
struct FixCache {
    int32_t pending;
    int64_t timestamp;
    char quality[10];
    char latitude[20];
    char longitude[20];
    char altitude[20];
    char speed[20];
    char speed2[20];
};

// DOP values of the last GSA and the extension field of the last "$GPZQLOC".
struct DopCache {
    char ext[32];
    char pdop[10];
    char hdop[10];
    char vdop[10];
};

// The NMEA callback may run on the client's thread while a control operation
// on the message-loop thread feeds "$GPERR" through the same path; the caches
// are only touched under this lock. Sentences are built under it and sent
// after it is released.
pthread_mutex_t g_fixCacheLock = PTHREAD_MUTEX_INITIALIZER;
FixCache g_fixCache;
DopCache g_dopCache;

// One sentence taken apart. Lives on the caller's stack, so concurrent
// callers never share it.
struct Sentence {
    char copy[kWorkSize];
    char fields[kFieldCount][kFieldSize];

    const char* field(size_t i) const { return i < kFieldCount ? fields[i] : ""; }
    bool named(const char* name, size_t len) const { return strncmp(copy, name, len) == 0; }
};

// Field i runs from the i-th comma to the next one, the last one to the '*'.
// Fields past the table and characters past a field's size are dropped.
void split(Sentence& s, const char* star) {
    size_t f = 0;
    size_t pos = 0;
    for (const char* p = s.copy; p < star; ++p) {
        if (*p == ',') {
            ++f;
            pos = 0;
            if (f >= kFieldCount) {
                return;
            }
        } else if (pos < kFieldSize - 1) {
            s.fields[f][pos++] = *p;
        }
    }
}

// Copies at most max characters of src into dst (terminated).
template <size_t N>
void put(char (&dst)[N], const char* src, size_t max = N - 1) {
    strncpy_s(dst, N, src, max);
}

// A GGA fix is valid when field 6 (quality) holds something other than 0.
bool gga_fix_valid(const Sentence& s) {
    const char* end = s.copy + kWorkSize;
    const char* p = at_find_field(6, s.copy, end);
    if (p == nullptr) {
        return false;
    }
    while (p < end &&
           (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\f' || *p == '\b' || *p == '\r')) {
        ++p;
    }
    return p < end && *p != '\0' && *p != ',' && *p != '*' && *p != '\r' && *p != '\n' && *p != '0';
}

void signed_coordinate(char (&dst)[20], const char* value, const char* hemisphere,
                       const char* negative) {
    if (strcmp(hemisphere, negative) == 0) {
        new_snprintf_s(dst, sizeof dst, sizeof dst - 1, "-%s", value);
    } else {
        put(dst, value);
    }
}

int format_fixbd(char (&out)[kWorkSize], const FixCache& c) {
    new_snprintf_s(out, sizeof out, sizeof out - 1, "$GPFIXBD,%lld,%s,%s,%s,%s,%s,%s*  \r\n",
                   static_cast<long long>(c.timestamp), c.quality, c.latitude, c.longitude,
                   c.altitude, c.speed, c.speed2);
    return static_cast<int>(strlen(out));
}

void on_gsv(int64_t timestamp, const Sentence& s) {
    char out[kWorkSize] = {};
    const char* v[17];
    v[0] = s.field(3);
    for (size_t j = 0; j < 4; ++j) {
        for (size_t k = 0; k < 4; ++k) {
            v[1 + 4 * j + k] = s.field(4 + 4 * j + k);
        }
    }
    new_snprintf_s(out, sizeof out, sizeof out - 1,
                   "$GPFIXSL,%.9s,%.9s,%.9s,%.9s,%.9s,%.9s,%.9s,%.9s,%.9s,%.9s,%.9s,%.9s,%.9s,"
                   "%.9s,%.9s,%.9s,%.9s,*  \r\n",
                   v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11], v[12],
                   v[13], v[14], v[15], v[16]);
    AT_Gnss_nmea_cb(timestamp, out, static_cast<int32_t>(strlen(out)));
}

void on_gga(int64_t timestamp, const Sentence& s) {
    FixCache fix{};
    fix.timestamp = timestamp;
    signed_coordinate(fix.latitude, s.field(2), s.field(3), "S");
    signed_coordinate(fix.longitude, s.field(4), s.field(5), "W");
    put(fix.quality, s.field(6));
    put(fix.altitude, s.field(9));

    if (gga_fix_valid(s)) {
        fix.pending = 1;
        GnssLock lock(g_fixCacheLock);
        g_fixCache = fix;
        return;
    }
    {
        GnssLock lock(g_fixCacheLock);
        g_fixCache.pending = 0;
    }
    // No fix: reported at once, without speed values.
    char out[kWorkSize] = {};
    const int len = format_fixbd(out, fix);
    AT_Gnss_nmea_cb(timestamp, out, len);
}

void on_zqloc(int64_t timestamp, Sentence& s) {
    char fixbd[kWorkSize] = {};
    char fixad[kWorkSize] = {};
    int fixbd_len = 0;
    int fixad_len = 0;
    {
        GnssLock lock(g_fixCacheLock);
        if (at_get_number_field(2, s.copy, g_fixCache.speed, sizeof g_fixCache.speed) == 0) {
            TANDREL_TRACE(TRACE_LEVEL_DEBUG, "get speed failed!\r\n");
        }
        if (at_get_number_field(3, s.copy, g_fixCache.speed2, sizeof g_fixCache.speed2) == 0) {
            TANDREL_TRACE(TRACE_LEVEL_DEBUG, "get speed failed !\r\n");
        }
        // The stored fix goes out again with every extension until the next
        // GGA replaces it.
        if (g_fixCache.pending == 1) {
            fixbd_len = format_fixbd(fixbd, g_fixCache);
        }
        if (at_get_number_field(1, s.copy, g_dopCache.ext, sizeof g_dopCache.ext) != 0) {
            new_snprintf_s(fixad, sizeof fixad, sizeof fixad - 1, "$GPFIXAD,%s,%s,%s,%s*  \r\n",
                           g_dopCache.pdop, g_dopCache.hdop, g_dopCache.vdop, g_dopCache.ext);
            fixad_len = static_cast<int>(strlen(fixad));
        }
    }
    if (fixbd_len != 0) {
        AT_Gnss_nmea_cb(timestamp, fixbd, fixbd_len);
    }
    if (fixad_len != 0) {
        AT_Gnss_nmea_cb(timestamp, fixad, fixad_len);
    }
}

void on_gsa(const Sentence& s) {
    DopCache dop{};
    put(dop.pdop, s.field(15), 8);
    put(dop.hdop, s.field(16), 8);
    put(dop.vdop, s.field(17), 8);
    GnssLock lock(g_fixCacheLock);
    g_dopCache = dop;
}

}  // namespace

void GNSS_IOCTRL_Getfixdata(int64_t timestamp, const char* text, int32_t length) {
    if (text == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Getfixdata nema is  NULL \r\n");
        return;
    }
    Sentence s{};
    const size_t len = gnss_text_length(text, length, kWorkSize - 1);
    osa_memcpy_s(s.copy, sizeof s.copy, text, len);
    const char* star = static_cast<const char*>(memchr(s.copy, '*', len));
    if (star == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_DEBUG, "GNSS_IOCTRL_Getfixdata ynema is  NULL \r\n");
        return;
    }
    if (s.named("$GPGSV", kNameLen)) {
        split(s, star);
        on_gsv(timestamp, s);
    } else if (s.named("$GPGGA", kNameLen)) {
        split(s, star);
        on_gga(timestamp, s);
    } else if (s.named("$GPZQLOC", 8)) {
        on_zqloc(timestamp, s);
    } else if (s.named("$GPGSA", kNameLen)) {
        split(s, star);
        on_gsa(s);
    }
}

void gnss_adapter_reset(void) {
    gnss_state_reset();
    GnssLock lock(g_fixCacheLock);
    g_fixCache = FixCache{};
    g_dopCache = DopCache{};
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

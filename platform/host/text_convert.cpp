// Text checks and conversions of the platform library, as the host provides them.
#include "text_convert.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "hex_digit.h"

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Sign and digits of a whole text, accumulated as a magnitude that must not
// pass limit.
bool parse_integer(const char* text, uint64_t limit_pos, uint64_t limit_neg, bool* negative,
                   uint64_t* magnitude) {
    if (text == nullptr) {
        return false;
    }
    const char* p = text;
    *negative = *p == '-';
    if (*p == '-' || *p == '+') {
        ++p;
    }
    if (!is_digit(*p)) {
        return false;
    }
    const uint64_t limit = *negative ? limit_neg : limit_pos;
    uint64_t m = 0;
    for (; is_digit(*p); ++p) {
        const auto d = static_cast<uint64_t>(*p - '0');
        if (m > (limit - d) / 10) {
            return false;
        }
        m = m * 10 + d;
    }
    *magnitude = m;
    return *p == '\0';
}

template <typename T>
bool parse_signed(const char* text, T* value) {
    constexpr auto max = static_cast<uint64_t>(std::numeric_limits<T>::max());
    bool negative = false;
    uint64_t m = 0;
    if (value == nullptr || !parse_integer(text, max, max + 1, &negative, &m)) {
        return false;
    }
    // The magnitude of the most negative value is max + 1: negate in unsigned.
    *value = negative ? static_cast<T>(0 - m) : static_cast<T>(m);
    return true;
}

// [sign] digits [. digits] | [sign] . digits, then [e [sign] digits].
bool decimal_form(const char* text) {
    const char* p = text;
    if (*p == '-' || *p == '+') {
        ++p;
    }
    size_t digits = 0;
    for (; is_digit(*p); ++p) {
        ++digits;
    }
    if (*p == '.') {
        for (++p; is_digit(*p); ++p) {
            ++digits;
        }
    }
    if (digits == 0) {
        return false;
    }
    if (*p == 'e' || *p == 'E') {
        ++p;
        if (*p == '-' || *p == '+') {
            ++p;
        }
        if (!is_digit(*p)) {
            return false;
        }
        while (is_digit(*p)) {
            ++p;
        }
    }
    return *p == '\0';
}

int base64_value(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}

// Days since 1970-01-01 of a proleptic Gregorian date.
constexpr int64_t days_from_civil(int64_t y, int64_t m, int64_t d) {
    y -= m <= 2 ? 1 : 0;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

constexpr int64_t kDay = 86400;
constexpr int64_t kGpsEpoch = days_from_civil(1980, 1, 6) * kDay;
static_assert(kGpsEpoch == 315964800);

// The days (since 1970) at whose start GPS time moved one more second ahead
// of UTC; a leap second 23:59:60 ends the day before each.
constexpr int64_t kLeapDays[] = {
    days_from_civil(1981, 7, 1), days_from_civil(1982, 7, 1), days_from_civil(1983, 7, 1),
    days_from_civil(1985, 7, 1), days_from_civil(1988, 1, 1), days_from_civil(1990, 1, 1),
    days_from_civil(1991, 1, 1), days_from_civil(1992, 7, 1), days_from_civil(1993, 7, 1),
    days_from_civil(1994, 7, 1), days_from_civil(1996, 1, 1), days_from_civil(1997, 7, 1),
    days_from_civil(1999, 1, 1), days_from_civil(2006, 1, 1), days_from_civil(2009, 1, 1),
    days_from_civil(2012, 7, 1), days_from_civil(2015, 7, 1), days_from_civil(2017, 1, 1),
};

// Leap seconds in force during the UTC second that starts at posix time t.
int64_t leap_seconds_at(int64_t t) {
    int64_t n = 0;
    for (int64_t day : kLeapDays) {
        if (t >= day * kDay) {
            ++n;
        }
    }
    return n;
}

bool leap_day_follows(int64_t day) {
    for (int64_t d : kLeapDays) {
        if (d == day + 1) {
            return true;
        }
    }
    return false;
}

bool is_leap_year(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int64_t days_in_month(int64_t y, int64_t m) {
    constexpr int64_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && is_leap_year(y) ? 29 : kDays[m - 1];
}

// The digits of text[at, at + n) as a number; false when one is no digit.
bool digits_at(const char* text, size_t at, size_t n, int64_t* out) {
    int64_t v = 0;
    for (size_t i = at; i < at + n; ++i) {
        if (!is_digit(text[i])) {
            return false;
        }
        v = v * 10 + (text[i] - '0');
    }
    *out = v;
    return true;
}

}  // namespace

extern "C" {

int32_t check_valid_chars(const char* text, const char* allowed) {
    if (text == nullptr || allowed == nullptr) {
        return 0;
    }
    return text[strspn(text, allowed)] == '\0' ? 1 : 0;
}

int32_t gps_quotes_out(const char* text, char* out, uint32_t len) {
    if (text == nullptr || out == nullptr || len < 2 || text[0] != '"' ||
        memchr(text, '\0', len) != nullptr || text[len - 1] != '"') {
        return 0;
    }
    memmove(out, text + 1, len - 2);
    out[len - 2] = '\0';
    return 1;
}

int32_t string_change_int_number(int32_t* value, const char* text) {
    return parse_signed(text, value) ? 1 : 0;
}

int32_t string_change_int64_number(int64_t* value, const char* text) {
    return parse_signed(text, value) ? 1 : 0;
}

int32_t string_change_double_number(double* value, const char* text) {
    if (value == nullptr || text == nullptr || !decimal_form(text)) {
        return 0;
    }
    const double v = strtod(text, nullptr);
    if (!std::isfinite(v)) {
        return 0;
    }
    *value = v;
    return 1;
}

int32_t string_change_float_number(float* value, const char* text) {
    if (value == nullptr || text == nullptr || !decimal_form(text)) {
        return 0;
    }
    const float v = strtof(text, nullptr);
    if (!std::isfinite(v)) {
        return 0;
    }
    *value = v;
    return 1;
}

int32_t AtBase64Decode(const char* in, uint32_t in_len, uint8_t* out, uint32_t out_size,
                       uint32_t* out_len) {
    if (in == nullptr || out == nullptr || out_len == nullptr || in_len == 0 || in_len % 4 != 0) {
        return -1;
    }
    uint32_t n = 0;
    for (uint32_t q = 0; q < in_len; q += 4) {
        const bool last = q + 4 == in_len;
        const char* c = in + q;
        // '=' only in the last two places of the last quad, and "=x" never.
        const uint32_t pad = last && c[3] == '=' ? (c[2] == '=' ? 2 : 1) : 0;
        uint32_t bits = 0;
        for (uint32_t i = 0; i < 4 - pad; ++i) {
            const int v = base64_value(c[i]);
            if (v < 0) {
                return -1;
            }
            bits = (bits << 6) | static_cast<uint32_t>(v);
        }
        bits <<= 6 * pad;
        // Bits a padded quad does not carry must be zero: one text per byte string.
        if ((pad == 1 && (bits & 0xFF) != 0) || (pad == 2 && (bits & 0xFFFF) != 0)) {
            return -1;
        }
        const uint32_t bytes = 3 - pad;
        if (n + bytes > out_size) {
            return -1;
        }
        for (uint32_t i = 0; i < bytes; ++i) {
            out[n++] = static_cast<uint8_t>(bits >> (16 - 8 * i));
        }
    }
    *out_len = n;
    return 0;
}

int32_t hex_to_ascii(const char* in, uint8_t* out, uint32_t in_len, uint32_t* out_len) {
    if (in == nullptr || out == nullptr || out_len == nullptr || in_len == 0 || in_len % 2 != 0) {
        return 0;
    }
    for (uint32_t i = 0; i < in_len; ++i) {
        if (hex_digit_value(in[i]) < 0) {
            return 0;
        }
    }
    for (uint32_t i = 0; i < in_len; i += 2) {
        out[i / 2] = static_cast<uint8_t>((hex_digit_value(in[i]) << 4) | hex_digit_value(in[i + 1]));
    }
    *out_len = in_len / 2;
    return 1;
}

int32_t UTC_change_GPS_time(int64_t* time, const char* text) {
    constexpr size_t kLen = 22;  // YYYY-MM-DDThh:mm:ss.cc
    if (time == nullptr || text == nullptr || strnlen(text, kLen + 1) != kLen || text[4] != '-' ||
        text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':' || text[19] != '.') {
        return 0;
    }
    int64_t y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0, cs = 0;
    if (!digits_at(text, 0, 4, &y) || !digits_at(text, 5, 2, &mo) || !digits_at(text, 8, 2, &d) ||
        !digits_at(text, 11, 2, &h) || !digits_at(text, 14, 2, &mi) ||
        !digits_at(text, 17, 2, &s) || !digits_at(text, 20, 2, &cs)) {
        return 0;
    }
    if (mo < 1 || mo > 12 || d < 1 || d > days_in_month(y, mo) || h > 23 || mi > 59 || s > 60) {
        return 0;
    }
    const int64_t day = days_from_civil(y, mo, d);
    if (s == 60 && !(h == 23 && mi == 59 && leap_day_follows(day))) {
        return 0;
    }
    // A leap second is one second after 23:59:59 with the old offset still in force.
    const int64_t before = day * kDay + h * 3600 + mi * 60 + (s == 60 ? 59 : s);
    const int64_t gps = before + (s == 60 ? 1 : 0) - kGpsEpoch + leap_seconds_at(before);
    if (gps < 0) {
        return 0;
    }
    *time = gps * 1000 + cs * 10;
    return 1;
}

}  // extern "C"

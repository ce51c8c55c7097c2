// Parameter checks and conversions of the FOTA commands: quotes, APN, numbers and result mapping.
#include "update_adapter/fota_params.h"

#include <cstring>

#include "osa.h"

namespace {

// Service error codes 1 to 18, in order. 176, 181, 187, 190 and 191 are
// never produced: the service has no codes for them.
constexpr uint8_t kServiceCodeRetenum[18] = {172, 173, 174, 175, 20,  177, 178, 179, 180,
                                             182, 183, 184, 185, 186, 188, 189, 192, 19};

constexpr size_t kApnWorkSize = 100;

constexpr char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
constexpr bool letter_or_digit(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

}  // namespace

int32_t update_get_at_retNum(int32_t code) {
    if (code < 1 || code > static_cast<int32_t>(sizeof kServiceCodeRetenum)) {
        return FOTA_RET_GENERIC;
    }
    return kServiceCodeRetenum[code - 1];
}

std::string_view fota_para(const AtRequest* pIn, uint32_t i) {
    if (pIn == nullptr || i >= pIn->m_para_count || i >= AT_MAX_PARAS) {
        return {};
    }
    return at_para_text(pIn->m_para_list[i]);
}

int32_t update_strip_quotes_out(const char* in, char* out, uint32_t len) {
    if (in == nullptr || out == nullptr || len == 0 || in[0] != '"') {
        return 0;
    }
    uint32_t i = 1;
    for (; i < len && in[i] != '\0'; ++i) {
        if (in[i] == '"') {
            out[i - 1] = '\0';
            return 1;
        }
        out[i - 1] = in[i];
    }
    out[i - 1] = '\0';
    return 0;
}

int32_t update_at_strip_quotes_out(const char* in, char* out, uint32_t len) {
    if (update_strip_quotes_out(in, out, len) == 0) {
        return 0;
    }
    // A closing quote followed by more text stops the copy early; only the
    // length tells.
    const size_t stripped = strnlen(out, len);
    return stripped + 2 == static_cast<uint16_t>(len) ? 1 : 0;
}

int32_t update_at_check_apn(const char* apn) {
    if (apn == nullptr) {
        return 0;
    }
    char work[kApnWorkSize] = {};
    strncpy_s(work, sizeof work, apn, sizeof work - 1);
    const size_t n = strlen(work);
    for (size_t i = 0; i < n; ++i) {
        const char c = upper(work[i]);
        if (!letter_or_digit(c) && c != '-' && c != '.') {
            return 0;
        }
    }
    if (n > 1 && (!letter_or_digit(upper(work[0])) || !letter_or_digit(upper(work[n - 1])))) {
        return 0;
    }
    return 1;
}

int32_t update_at_check_auth_type_valid(uint32_t value) {
    return value < 3 ? 1 : 0;
}

int32_t update_parse_uint(uint32_t* out, std::string_view text, uint32_t base) {
    if (out == nullptr || base < 2 || base > 36) {
        return 2;
    }
    int32_t result = 1;
    uint64_t value = 0;
    for (const char raw : text) {
        if (raw == ' ') {
            continue;
        }
        const char c = upper(raw);
        uint32_t digit = base;
        if (c >= '0' && c <= '9') {
            digit = static_cast<uint32_t>(c - '0');
        } else if (c >= 'A' && c <= 'Z') {
            digit = static_cast<uint32_t>(c - 'A') + 10;
        }
        if (digit >= base) {
            return 2;
        }
        value = value * base + digit;
        if (value > UINT32_MAX) {
            return 2;
        }
        result = 0;
        *out = static_cast<uint32_t>(value);
    }
    return result;
}

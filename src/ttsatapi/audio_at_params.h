// Parameter readers and engine-result handling shared by the text-to-speech and recorder commands.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "at_record.h"

namespace audio_at {

// The text of parameter i (0-based) as typed, bounded by its field whatever
// usParaLen claims; empty for an entry beyond m_para_count.
inline std::string_view para_text(const AtRequest& req, uint32_t i) {
    const uint32_t count = std::min(req.m_para_count, static_cast<uint32_t>(AT_MAX_PARAS));
    return i < count ? at_para_text(req.m_para_list[i]) : std::string_view{};
}

// The field of parameter i made a C string inside its field, so that engine
// helpers taking a plain char* never read past it.
inline char* para_cstr(AtRequest& req, uint32_t i) {
    AtCmdParam& p = req.m_para_list[i];
    p.aucPara[sizeof p.aucPara - 1] = '\0';
    return p.aucPara;
}

inline bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Non-empty and made of the characters 0 to 9 only.
inline bool is_decimal(std::string_view s) {
    if (s.empty()) {
        return false;
    }
    for (const char c : s) {
        if (!is_digit(c)) {
            return false;
        }
    }
    return true;
}

// Value of a decimal text; saturates instead of wrapping, so a long run of
// digits never reads as a small number (or as zero).
inline uint32_t decimal_value(std::string_view s) {
    uint64_t v = 0;
    for (const char c : s) {
        if (!is_digit(c)) {
            break;
        }
        v = v * 10 + static_cast<uint64_t>(c - '0');
        if (v > std::numeric_limits<uint32_t>::max()) {
            return std::numeric_limits<uint32_t>::max();
        }
    }
    return static_cast<uint32_t>(v);
}

// atoi on a bounded text: leading blanks, an optional sign, then digits;
// saturates at the limits of int32_t.
inline int32_t atoi_value(std::string_view s) {
    size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || (s[i] >= '\t' && s[i] <= '\r'))) {
        ++i;
    }
    bool negative = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
        negative = s[i] == '-';
        ++i;
    }
    int64_t v = 0;
    for (; i < s.size() && is_digit(s[i]); ++i) {
        v = v * 10 + (s[i] - '0');
        if (v > int64_t{std::numeric_limits<int32_t>::max()} + 1) {
            break;
        }
    }
    if (negative) {
        v = -v;
    }
    if (v > std::numeric_limits<int32_t>::max()) {
        return std::numeric_limits<int32_t>::max();
    }
    if (v < std::numeric_limits<int32_t>::min()) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(v);
}

// Refuses a command for the daemon's own reasons: the error number, no text.
inline int32_t refuse(AtResponse* pOut, int32_t retenum) {
    at_set_error(pOut, retenum);
    return TANDREL_FAIL;
}

// Takes an engine's answer. On failure (-1) the response carries the
// engine's error number, or the module's generic one when the engine set
// none, and no text; otherwise m_length is the length of the text the engine
// wrote, which is kept inside m_buffer whether or not the engine ended it.
inline void take_engine_result(AtResponse* pOut, int32_t result, int32_t generic_error) {
    if (result == -1) {
        at_set_error(pOut, pOut->m_retenum != 0 ? pOut->m_retenum : generic_error);
        return;
    }
    pOut->m_buffer[sizeof pOut->m_buffer - 1] = '\0';
    pOut->m_length = static_cast<uint32_t>(strlen(pOut->m_buffer));
}

}  // namespace audio_at

// Reading a request and writing an answer, as the simulated audio engines do.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "at_record.h"

namespace sim_request {

inline void answer(AtResponse* pOut, const char* text) {
    (void)snprintf(pOut->m_buffer, sizeof pOut->m_buffer, "%s", text);
}

// Parameter i's text, empty past the count the request gives.
inline std::string_view para(const AtRequest* pIn, uint32_t i) {
    return i < pIn->m_para_count && i < AT_MAX_PARAS ? at_para_text(pIn->m_para_list[i])
                                                     : std::string_view{};
}

// A decimal number of at most 9 digits.
inline bool number_of(std::string_view s, uint32_t* out) {
    if (s.empty() || s.size() > 9 || s.find_first_not_of("0123456789") != s.npos) {
        return false;
    }
    *out = 0;
    for (const char c : s) {
        *out = *out * 10 + static_cast<uint32_t>(c - '0');
    }
    return true;
}

}  // namespace sim_request

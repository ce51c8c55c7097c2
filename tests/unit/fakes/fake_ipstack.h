// Recording fake of the IP stack service: every call with its arguments, outcomes chosen by a test.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "at_record.h"

namespace fake {

struct IpStack {
    std::vector<std::string> calls;  // every call by name, in order

    // What every AT entry point does: writes reply (NULs included) into
    // m_buffer, length into m_length when set, retenum into m_retenum, and
    // returns result (-1 is failure).
    std::string reply = "\r\nOK\r\n";
    std::optional<uint32_t> length;
    int32_t retenum = 0;
    int32_t result = 0;

    int32_t abort_result = 0;

    // ipstack_get_at_errornum: returns errornum_result, records the codes.
    int32_t errornum_result = 0;
    std::vector<uint32_t> errornum_codes;

    // ipstack_at_set_cme_error: writes "\r\n+CME ERROR: 3\r\n", records its arguments.
    std::vector<uint32_t> cme_codes;
    int32_t cme_mode = -1;

    void reset() { *this = IpStack{}; }
    size_t count(const std::string& fn) const;
};

IpStack& ipstack();

}  // namespace fake

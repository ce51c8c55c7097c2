// Fake of the IP stack service: commands answer OK; the error number of a late result is chosen by
// a test.
#pragma once

#include <cstdint>

namespace fake {

struct IpStack {
    int32_t errornum_result = 0;  // what ipstack_get_at_errornum answers
    int32_t abort_result = 0;     // what ipstack_at_abort_at_cmd answers
    void reset() { *this = IpStack{}; }
};

IpStack& ipstack();

}  // namespace fake

// Shared by the fuzz targets: the set-up, the record copies and the checks of
// what the daemon sent and allocated.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "fake_platform.h"

namespace fuzz {

// Stops the run at a fault.
inline void require(bool ok) {
    if (!ok) {
        __builtin_trap();
    }
}

// Forgets what the platform and the services recorded in the last run.
inline void reset() {
    fake::platform().reset();
    fake::gps().reset();
}

// Bit `n` of `b`.
inline uint8_t bit(uint8_t b, int n) {
    return static_cast<uint8_t>((b >> n) & 1);
}

// The input's bytes in a heap record of exactly `record_size` bytes, zero
// filled and cut to it, so a read past the record is caught.
inline std::vector<uint8_t> record(const uint8_t* data, size_t size, size_t record_size) {
    std::vector<uint8_t> r(record_size, 0);
    std::memcpy(r.data(), data, std::min(size, record_size));
    return r;
}

// Every response or report left with its own wire size, inside the record,
// and passes `ok`; no allocation is left behind.
template <typename Pred>
void check_sent(Pred ok) {
    for (const fake::Sent& s : fake::platform().sent) {
        const AtResponse r = s.record();
        require(s.size == r.m_length + 25 && s.size <= sizeof(AtResponse) && ok(r));
    }
    require(fake::platform().live_allocs == 0);
}
inline void check_sent() {
    check_sent([](const AtResponse&) { return true; });
}

}  // namespace fuzz

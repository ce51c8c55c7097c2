// Shared by the fuzz targets: the checks of what the daemon sent and allocated.
#pragma once

#include "fake_platform.h"

namespace fuzz {

// Stops the run at a fault.
inline void require(bool ok) {
    if (!ok) {
        __builtin_trap();
    }
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

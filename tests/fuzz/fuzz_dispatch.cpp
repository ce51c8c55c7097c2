// Any bytes as one forwarded AT request through the dispatcher, against the recording fakes.
#include <cstddef>
#include <cstdint>

#include "fake_platform.h"
#include "tandrel_core.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fake::platform().reset();
    fake::services().reset();
    // The first byte picks the module type, so the silent firmware-load rule
    // is explored on every type.
    g_m2m_type = size > 0 ? data[0] % 4 : 0;
    nl_syswatch_event_report(static_cast<uint32_t>(size), data);
    for (const fake::Sent& s : fake::platform().sent) {
        // Every response leaves with its own wire size, inside the record.
        const AtResponse r = s.record();
        if (s.size != r.m_length + 25 || s.size > sizeof(AtResponse)) {
            __builtin_trap();
        }
    }
    if (fake::platform().live_allocs != 0) {
        __builtin_trap();
    }
    return 0;
}

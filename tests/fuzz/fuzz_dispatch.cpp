// Any bytes as one forwarded AT request through the dispatcher, against the recording fakes.
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"
#include "tandrel_core.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::reset();
    // The first byte picks the module type, so the silent firmware-load rule
    // is explored on every type.
    g_m2m_type = size > 0 ? data[0] % 4 : 0;
    nl_syswatch_event_report(static_cast<uint32_t>(size), data);
    fuzz::check_sent();
    return 0;
}

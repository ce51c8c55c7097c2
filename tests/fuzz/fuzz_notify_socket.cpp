// Any datagram on the notify bus's socket, as another process may send it, through to the daemon.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "notify_wire.h"
#include "tandrel_main.h"

namespace {

// The daemon's modules as it registers them at start-up.
const std::vector<fake::Registered>& modules() {
    static const std::vector<fake::Registered> m = [] {
        fuzz::reset();
        tandrel_main();
        return fake::platform().registered;
    }();
    return m;
}

}  // namespace

// Input: one datagram. An accepted one is delivered as the bus delivers it:
// its payload in a zero-filled copy, the words in the event's layout.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<fake::Registered>& mods = modules();
    fuzz::reset();
    NotifyEvent e{};
    if (size > NOTIFY_WIRE_MAX_SIZE ||
        notify_wire_accept(data, static_cast<uint32_t>(size), &e) != NotifyWireStatus::Queued) {
        return 0;
    }
    const auto m = std::find_if(mods.begin(), mods.end(),
                                [&](const fake::Registered& r) { return r.module == e.module; });
    if (m == mods.end()) {
        return 0;
    }
    const NotifyCallback cb = e.slot == NotifySlot::First ? m->first : m->second;
    if (cb == nullptr) {
        return 0;
    }
    std::vector<uint8_t> copy(std::max(e.len + 1, NOTIFY_WIRE_MIN_COPY), 0);
    if (e.payload != nullptr) {
        std::memcpy(copy.data(), e.payload, e.len);
    }
    const auto ptr = reinterpret_cast<uintptr_t>(copy.data());
    int32_t rc = 0;
    switch (e.layout) {
        case NotifyLayout::LenPtr:
            rc = cb(e.event, e.len, ptr);
            break;
        case NotifyLayout::PtrLen:
            rc = cb(e.event, ptr, e.len);
            break;
        case NotifyLayout::Words:
            rc = cb(e.event, e.w1, e.w2);
            break;
    }
    fuzz::require(rc == 0 || rc == -1 || e.event == 63002);
    fuzz::check_sent();
    return 0;
}

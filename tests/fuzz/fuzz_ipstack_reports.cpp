// Any bytes as one IP stack event record through notify module 62's callbacks and report builders.
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "fuzz_support.h"
#include "ipstack.h"
#include "ipstackatapi/ipstack_at_handlers.h"

namespace {

struct Event {
    uint32_t id;
    size_t record_size;
};

constexpr Event kEvents[] = {
    {IPSTACK_EVT_LINK_STATE, sizeof(IpstackStateEvent)},
    {IPSTACK_EVT_SERVER_STATE, sizeof(IpstackStateEvent)},
    {IPSTACK_EVT_DATA_ARRIVAL, sizeof(IpstackArrivalEvent)},
    {IPSTACK_EVT_DATA, sizeof(IpstackDataEvent)},
    {IPSTACK_EVT_LATE_RESULT, sizeof(IpstackResultEvent)},
};

}  // namespace

// Byte 0: event (low bits) and callback (bit 7); byte 1: the service's error
// number for late results; the rest: the record, zero-filled to its size.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    fuzz::reset();
    fake::ipstack().reset();
    fake::ipstack().errornum_result = data[1];
    const Event& ev = kEvents[(data[0] & 0x7F) % std::size(kEvents)];
    const bool second = (data[0] & 0x80) != 0;
    std::vector<uint8_t> record = fuzz::record(data + 2, size - 2, ev.record_size);
    const auto a1 = reinterpret_cast<uintptr_t>(record.data());
    const int32_t rc =
        second ? ipstack_post_dispatch(ev.id, a1, 0) : ipstack_notify_dispatch(ev.id, a1, 0);

    const auto& sent = fake::platform().sent;
    fuzz::require(sent.size() <= 1 && (rc == 0) == (sent.size() == 1));
    // Data reports fit the 1541-byte text they were built in.
    fuzz::check_sent([](const AtResponse& r) {
        return r.m_length <= 1541 && r.m_magic == 0 &&
               (r.m_id == 50 || r.m_id == 43 || r.m_id == 0xFFFFFFFFu) &&
               (r.m_retenum == 0 || r.m_length == 0);
    });
    return 0;
}

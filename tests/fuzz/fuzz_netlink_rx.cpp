// Any datagram through the receive loop's checks, and what they accept through the dispatcher.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "le_bytes.h"
#include "nl_channel.h"
#include "tandrel_core.h"
#include "tandrel_main.h"

namespace {

// The receive buffer as the loop sizes it: the registration's nlmsg_len.
constexpr uint32_t kCapacity = NL_DATA_OFFSET + FIX_NL_DATA_LENGTH;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    fuzz::reset();
    // The first byte picks what recvmsg reported about the sender (the
    // fakes' driver is port id 0) and the module type; the rest is the
    // datagram, cut to the buffer as recvmsg cuts it.
    const uint8_t how = data[0];
    const uint32_t namelen = (how & 1) != 0 ? 11 : NL_SOCKADDR_SIZE;
    const uint32_t sender = (how & 2) != 0 ? 4242 : 0;
    g_m2m_type = (how >> 2) % 4;
    static std::vector<uint8_t> buf(kCapacity);
    std::memset(buf.data(), 0, buf.size());
    const size_t n = size - 1 < buf.size() ? size - 1 : buf.size();
    std::memcpy(buf.data(), data + 1, n);

    nl_handle_message(buf.data(), namelen, sender);

    const std::vector<fake::Posted> posted = fake::platform().posted;
    fuzz::require(posted.size() <= 1);
    if (posted.empty()) {
        return 0;
    }
    // Only a request from the driver with device 1 and a length that fits.
    const fake::Posted& p = posted[0];
    const uint32_t len = le_get_u32(&buf[NL_EVENT_OFFSET + 8]);
    fuzz::require(namelen == NL_SOCKADDR_SIZE && sender == 0 &&
                  le_get_u32(&buf[NL_EVENT_OFFSET]) == 1 && p.module == 58 && p.event == 58001 &&
                  p.len == len && len != 0 && len < FIX_NL_DATA_LENGTH && p.data.size() == len &&
                  std::memcmp(p.data.data(), &buf[NL_DATA_OFFSET], len) == 0);
    // The bus hands the event to module 58's second callback.
    fake::platform().posted.clear();
    tandrel_event_dispatch(58001, p.len, reinterpret_cast<uintptr_t>(p.data.data()));
    fuzz::check_sent();
    return 0;
}

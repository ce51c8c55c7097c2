// Datagrams between the driver and the daemon.
#include "wire.h"

#include <algorithm>
#include <cstring>

#include "nl_device.h"
#include "registration.h"

namespace atsim {

namespace {

void put32(std::vector<uint8_t>& b, size_t off, uint32_t v) {
    for (size_t i = 0; i < 4; ++i) {
        b[off + i] = static_cast<uint8_t>(v >> (8 * i));
    }
}

}  // namespace

std::vector<uint8_t> request_datagram(const AtRequest& req, uint32_t driver_port_id,
                                      uint32_t seq) {
    constexpr size_t kHead = NL_MSG_HEADER_SIZE + sizeof(NlDeviceEvent);
    std::vector<uint8_t> b(kHead + sizeof req, 0);
    put32(b, 0, static_cast<uint32_t>(b.size()));  // nlmsg_len; type and flags stay 0
    put32(b, 8, seq);
    put32(b, 12, driver_port_id);
    put32(b, 16, NL_DEVICE_AT);
    put32(b, 20, 0);
    put32(b, 24, static_cast<uint32_t>(sizeof req));
    std::memcpy(&b[kHead], &req, sizeof req);
    return b;
}

std::optional<Answer> decode_answer(std::span<const uint8_t> msg, std::string* why) {
    constexpr size_t kHead = NL_MSG_HEADER_SIZE + AT_RESPONSE_HEADER_SIZE;
    if (msg.size() < kHead) {
        if (why != nullptr) {
            *why = "datagram of " + std::to_string(msg.size()) + " bytes is shorter than " +
                   std::to_string(kHead);
        }
        return std::nullopt;
    }
    const std::span<const uint8_t> r = msg.subspan(NL_MSG_HEADER_SIZE);
    Answer a;
    a.uindex = le32(r, 0);
    a.magic = le32(r, 4);
    a.protocol = le32(r, 8);
    a.id = le32(r, 12);
    a.retenum = static_cast<int32_t>(le32(r, 16));
    a.length = le32(r, 20);
    size_t n = a.length;
    const size_t arrived = r.size() - AT_RESPONSE_HEADER_SIZE;
    if (n >= arrived || n >= AT_RESPONSE_TEXT_SIZE) {
        // The last byte of a record on the wire is its terminating NUL, so
        // the text is what arrived less that byte.
        const size_t text = arrived == 0 ? 0 : arrived - 1;
        a.cut = n > text || n >= AT_RESPONSE_TEXT_SIZE;
        n = std::min({n, text, AT_RESPONSE_TEXT_SIZE - 1});
    }
    a.text.assign(reinterpret_cast<const char*>(&r[AT_RESPONSE_HEADER_SIZE]), n);
    return a;
}

std::string cme_error(int32_t n) { return "\r\n+CME ERROR: " + std::to_string(n) + "\r\n"; }

std::string render(const Answer& a) { return a.retenum == 0 ? a.text : cme_error(a.retenum); }

}  // namespace atsim

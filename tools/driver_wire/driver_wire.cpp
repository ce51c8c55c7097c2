// The driver side of the wire: datagrams built and sent, answers decoded.
#include "driver_wire.h"

#include <linux/netlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "le_bytes.h"
#include "nl_channel.h"
#include "nl_device.h"

namespace driver_wire {

std::vector<uint8_t> datagram(uint32_t device_id, uint32_t len, std::span<const uint8_t> payload,
                              uint32_t seq, uint32_t port_id) {
    std::vector<uint8_t> b(NL_DATA_OFFSET + payload.size(), 0);
    if (!payload.empty()) {
        memcpy(b.data() + NL_DATA_OFFSET, payload.data(), payload.size());
    }
    le_put_u32(&b[0], static_cast<uint32_t>(b.size()));  // nlmsg_len; type and flags stay 0
    le_put_u32(&b[8], seq);
    le_put_u32(&b[12], port_id);
    le_put_u32(&b[NL_EVENT_OFFSET + offsetof(NlDeviceEvent, device_id)], device_id);
    le_put_u32(&b[NL_EVENT_OFFSET + offsetof(NlDeviceEvent, len)], len);
    return b;
}

ssize_t send_to(int fd, uint32_t port, std::span<const uint8_t> m) {
    sockaddr_nl to{};
    to.nl_family = AF_NETLINK;
    to.nl_pid = port;
    return sendto(fd, m.data(), m.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

std::vector<uint8_t> request_datagram(const AtRequest& req, uint32_t driver_port_id, uint32_t seq) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&req);
    return datagram(NL_DEVICE_AT, static_cast<uint32_t>(sizeof req), {bytes, sizeof req}, seq,
                    driver_port_id);
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
    a.uindex = le_get_u32(&r[offsetof(AtResponse, m_uindex)]);
    a.magic = le_get_u32(&r[offsetof(AtResponse, m_magic)]);
    a.protocol = le_get_u32(&r[offsetof(AtResponse, m_protocol)]);
    a.id = le_get_u32(&r[offsetof(AtResponse, m_id)]);
    a.retenum = static_cast<int32_t>(le_get_u32(&r[offsetof(AtResponse, m_retenum)]));
    a.length = le_get_u32(&r[offsetof(AtResponse, m_length)]);
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

std::string cme_error(int32_t n) {
    return "\r\n+CME ERROR: " + std::to_string(n) + "\r\n";
}

std::string render(const Answer& a) {
    return a.retenum == 0 ? a.text : cme_error(a.retenum);
}

}  // namespace driver_wire

// The driver side of the wire: datagrams to the daemon built and sent, its answers and reports
// decoded.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "at_record.h"

namespace driver_wire {

// A datagram of the driver: netlink header (length, seq, nlmsg_pid =
// port_id), NlDeviceEvent {device_id, 0, len} and the payload after it. len
// is what the event announces, which need not be the payload's size.
std::vector<uint8_t> datagram(uint32_t device_id, uint32_t len, std::span<const uint8_t> payload,
                              uint32_t seq = 0, uint32_t port_id = 0);

// One request to the daemon: netlink header (nlmsg_pid = the driver's port
// id), NlDeviceEvent {1, 0, len} and the whole AtRequest record.
std::vector<uint8_t> request_datagram(const AtRequest& req, uint32_t driver_port_id, uint32_t seq);

// An AtResponse as it arrived from the daemon.
struct Answer {
    uint32_t uindex = 0;
    uint32_t magic = 0;
    uint32_t protocol = 0;
    uint32_t id = 0;
    int32_t retenum = 0;
    uint32_t length = 0;  // m_length as announced
    std::string text;     // the text bytes that arrived, at most m_length (may hold NULs)
    bool cut = false;     // m_length promised more than the datagram or the field holds
};

// m_id of a final result that completes a command after its answer.
inline constexpr uint32_t kLateFinalResult = 0xFFFFFFFF;

// Decodes a datagram from the daemon (netlink header included). Returns
// nothing, saying why, when it is too short to hold a response header.
std::optional<Answer> decode_answer(std::span<const uint8_t> msg, std::string* why);

// What a terminal receives for an answer, a report or a late final result:
// the text when m_retenum is 0, else "\r\n+CME ERROR: <n>\r\n".
std::string render(const Answer& a);
std::string cme_error(int32_t n);

// Sends a datagram to the netlink port port; sendto's result.
ssize_t send_to(int fd, uint32_t port, std::span<const uint8_t> m);

}  // namespace driver_wire

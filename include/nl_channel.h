// The netlink channel to the kernel AT driver: registration message, request checks, receive loop.
#pragma once

#include <cstddef>
#include <cstdint>

#include "at_cmd_table.h"
#include "at_record.h"
#include "nl_device.h"

// Where the NlDeviceEvent and the request bytes sit in a netlink message.
inline constexpr uint32_t NL_EVENT_OFFSET = NL_MSG_HEADER_SIZE;
inline constexpr uint32_t NL_DATA_OFFSET = NL_MSG_HEADER_SIZE + sizeof(NlDeviceEvent);
// Size of a netlink socket address (sockaddr_nl).
inline constexpr uint32_t NL_SOCKADDR_SIZE = 12;

// The channel on the module: the kernel AT driver's netlink protocol, and the
// port id of the kernel itself, where replies go and the only sender whose
// messages are taken.
inline constexpr int NL_AT_PROTOCOL = 27;
inline constexpr uint32_t NL_KERNEL_PORT_ID = 0;

// The protocol and the driver's port id where the daemon runs. No module
// library provides them: platform/module/ answers the two above, and a
// development host, which has no protocol 27, answers its own.
extern "C" {
int platform_nl_protocol(void);
uint32_t platform_nl_driver_pid(void);
}

// Sequence number of the next message the daemon builds.
extern uint32_t g_nl_seq;
// The last accepted request, handed to the message loop by post_notify.
extern uint8_t g_nl_rx_buf[FIX_NL_DATA_LENGTH];

struct NlRegistrationSize {
    uint32_t cmdtbl_len;   // bytes of all table records
    uint32_t final_len;    // cmdtbl_len, at least FIX_NL_DATA_LENGTH
    uint32_t nlmsg_len;    // final_len + 28: the whole message
    uint32_t buffer_size;  // (final_len + 31) rounded down to 4
};

// Sizes of the registration message of a table (rows up to the first with
// m_name_len 0).
NlRegistrationSize nl_registration_size(const AtCmdEntry* table);

// The 32-bit word that stands for a handler in the registration: its
// address, cut to 32 bits where addresses are wider (1 if that cut is 0), and
// 0 for a null handler.
uint32_t nl_handler_word(AtHandler h);

// Writes the registration message of table into buf, which is zero-filled
// first. Returns nlmsg_len, or 0 (nothing written) when buf_size is smaller
// than the message.
uint32_t nl_build_registration(const AtCmdEntry* table, uint32_t seq, uint32_t pid, uint8_t* buf,
                               uint32_t buf_size);

enum class NlVerdict {
    Accept,
    BadNameLen,     // source address of the wrong size
    ForeignSender,  // not sent by the kernel AT driver
    BadDevice,      // device_id not 1
    BadLength,      // len 0 or not below FIX_NL_DATA_LENGTH
};

// Checks one received message: the source address recvmsg reported
// (namelen, port id), then the NlDeviceEvent at offset 16 of msg, which must
// hold at least NL_DATA_OFFSET bytes. The event is stored in *ev whenever the
// address passed.
NlVerdict nl_check_request(const uint8_t* msg, uint32_t namelen, uint32_t sender_pid,
                           uint32_t driver_pid, NlDeviceEvent* ev);

// The trace message for a bind failure with this errno, or null when the
// value has none.
const char* nl_bind_errno_text(int err);

// Pause before the next receive after this many receive failures in a row.
uint32_t nl_recv_backoff_ms(uint32_t consecutive_failures);

// One received message, as the receive loop handles it: checked with
// nl_check_request against the driver's port id (traced and dropped when
// refused), else its request copied into g_nl_rx_buf and posted to module 58
// as event 58001. msg is the zero-filled receive buffer, at least
// NL_DATA_OFFSET + FIX_NL_DATA_LENGTH - 1 bytes, whatever the datagram's size.
void nl_handle_message(const uint8_t* msg, uint32_t namelen, uint32_t sender);

// The receive loop's state: its socket, its buffer, and the receive failures
// in a row so far. The buffer is zeroed before every receive; only its first
// `dirty` bytes can be non-zero then (what the last receive wrote), so only
// they are zeroed. A loop that does not know starts with the whole buffer.
struct NlReceiver {
    int fd;
    uint8_t* buf;
    uint32_t capacity;
    uint32_t failures;
    uint32_t dirty = UINT32_MAX;
};

// One turn of the receive loop: receives one datagram into r.buf and
// handles it; a failed receive is traced and, once failures persist, paused
// for as nl_recv_backoff_ms says.
void nl_receive_one(NlReceiver& r);

// Opens the channel, registers the command table and hands every accepted
// request to the message loop as event 58001. Returns only on a set-up
// failure (socket, bind or allocation).
void tandrel_netlink_msg_process(void);

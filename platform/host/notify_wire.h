// The host notify bus's socket protocol: one datagram per event, one reply datagram per event.
#pragma once

#include <cstdint>

#include "notify_bus.h"

// Name of the bus's datagram socket in the run directory.
inline constexpr char NOTIFY_SOCKET_NAME[] = "notify.sock";

// Event datagram, all integers little-endian:
//   0  u32 magic "TNB1"      16 u64 w1 (Words layout, else 0)
//   4  u32 module            24 u64 w2 (Words layout, else 0)
//   8  u32 event             32 payload: the rest of the datagram
//  12  u8  slot (0 first, 1 second), 13 u8 layout (0 len-ptr, 1 ptr-len,
//      2 words), 14 u16 0
inline constexpr uint32_t NOTIFY_WIRE_MAGIC = 0x31424E54;
inline constexpr uint32_t NOTIFY_WIRE_HEADER_SIZE = 32;
inline constexpr uint32_t NOTIFY_WIRE_MAX_PAYLOAD = 10240;
inline constexpr uint32_t NOTIFY_WIRE_MAX_SIZE = NOTIFY_WIRE_HEADER_SIZE + NOTIFY_WIRE_MAX_PAYLOAD;
// The payload of an event from another process reaches its callback in a
// zero-filled copy at least this long (one request or response buffer), so a
// handler that reads a whole record cannot read past it.
inline constexpr uint32_t NOTIFY_WIRE_MIN_COPY = 10240;

// Reply datagram: u32 magic "TNBR", i32 status.
inline constexpr uint32_t NOTIFY_WIRE_REPLY_MAGIC = 0x52424E54;
inline constexpr uint32_t NOTIFY_WIRE_REPLY_SIZE = 8;

enum class NotifyWireStatus : int32_t {
    Queued = 0,
    Malformed = 1,      // size, magic, slot, layout or reserved bits wrong
    UnknownModule = 2,  // no module registered with a callback in that slot
    TooLarge = 3,       // payload above NOTIFY_WIRE_MAX_PAYLOAD
    NotPermitted = 4,   // sent by another user
    Failed = 5,         // the bus could not queue it
    WrongLayout = 6,    // an event of the daemon's in another layout than it takes
};

const char* notify_wire_status_text(NotifyWireStatus s);

// Writes the datagram of e into out. Returns its size, or 0 when e has a
// payload above the maximum, a Words layout with a payload, or out is too small.
uint32_t notify_wire_encode(const NotifyEvent& e, uint8_t* out, uint32_t out_size);

// Reads a datagram of n bytes. On Queued, *e describes the event and its
// payload points into in; any other value says what is wrong.
NotifyWireStatus notify_wire_decode(const uint8_t* in, uint32_t n, NotifyEvent* e);

// The callback and argument layout the daemon takes one of its own events
// with (modules 58, 62, 63, 69 and 80). False for any other event: those are
// delivered as sent, and their callbacks refuse what they do not serve.
struct NotifyEventShape {
    NotifySlot slot;
    NotifyLayout layout;
};
bool notify_event_shape(uint32_t module, uint32_t event, NotifyEventShape* shape);

// Decodes a datagram from another process (notify_wire_decode) and refuses an
// event of the daemon's that comes in another layout than the daemon takes it
// with: a word that a handler reads as a pointer is then always the bus's
// own copy of the payload, never a sender's number.
NotifyWireStatus notify_wire_accept(const uint8_t* in, uint32_t n, NotifyEvent* e);

void notify_wire_encode_reply(NotifyWireStatus s, uint8_t out[NOTIFY_WIRE_REPLY_SIZE]);
// False when the datagram is not a reply.
bool notify_wire_decode_reply(const uint8_t* in, uint32_t n, NotifyWireStatus* s);

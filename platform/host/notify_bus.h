// Host notify bus: raising events with the argument layout a sender uses.
#pragma once

#include <cstdint>

// Which callback of the module gets the event.
enum class NotifySlot { First, Second };

// How the two argument words are filled:
//  LenPtr  (len, pointer to the copied payload)   -- what post_notify does
//  PtrLen  (pointer to the copied payload, len)   -- service events with a record
//  Words   (w1, w2), no payload
enum class NotifyLayout { LenPtr, PtrLen, Words };

struct NotifyEvent {
    uint32_t module;
    uint32_t event;
    NotifySlot slot;
    NotifyLayout layout;
    const void* payload;  // copied before the call returns (LenPtr, PtrLen)
    uint32_t len;
    uintptr_t w1;  // Words only
    uintptr_t w2;
};

// Queues the event for the message-loop thread. Returns 0, or -1 when the bus
// is not running or the payload could not be copied.
int32_t notify_bus_raise(const NotifyEvent& e);

// Ends the event loop (QSP_UTIL_SockBaseStart returns) once what is queued
// has been delivered. Events raised later stay queued for the next loop.
// The daemon never stops its loop; tests and tools that run a bus do.
void notify_bus_stop(void);

// Between the host notify bus's queue and loop and its run-directory socket.
#pragma once

#include <cstdint>

#include "notify_bus.h"

// notify_bus_raise, with the payload's copy at least min_copy bytes long and
// zero beyond the payload: events from other processes are delivered in
// buffers that a reader of a whole record cannot overrun.
int32_t notify_bus_raise_padded(const NotifyEvent& e, uint32_t min_copy);

// Whether a module is registered with a callback in that slot.
bool notify_bus_has_callback(uint32_t module, NotifySlot slot);

// Opens the bus's socket in the run directory; -1 when it cannot (traced).
int notify_socket_open(void);
// Takes the datagrams waiting on the socket: each is checked, queued and
// answered. Runs on the loop thread.
void notify_socket_drain(int fd);

// Platform message system and notify bus: modules, events and their two callbacks.
#pragma once

#include <cstdint>

extern "C" {
// A notify callback: (event id, argument word 1, argument word 2). Returns -1
// for an event the module does not serve. Argument words are wide enough for
// a pointer.
typedef int32_t (*NotifyCallback)(uint32_t event, uintptr_t a1, uintptr_t a2);

// Joins the platform message system under a program name.
int32_t QSP_MSG_Init(const char* name);
// Prepares the event loop of the calling thread.
int32_t QSP_UTIL_SockBaseRegEvtProc(void);
// Runs the event loop; notify callbacks run inside it. Returns only when the
// loop ends.
void* QSP_UTIL_SockBaseStart(void* arg);

// Readies the notify bus for this process; -1 on failure.
int32_t init_notify(void);
// Registers a module's two callbacks; non-zero on failure.
int32_t register_notify_handler(uint32_t module, NotifyCallback first, NotifyCallback second);
// Queues an event for a module. When data is not null, len bytes of it are
// copied before the call returns and the module's second callback gets
// (event, len, pointer to the copy); else it gets (event, len, 0). The
// callback runs on the event-loop thread. Returns 0, or -1 when the event
// could not be queued.
int32_t post_notify(uint32_t module, uint32_t event, uint32_t len, const void* data);
// Synchronous request to a module: its first callback gets (event, buf,
// buf_len) on the event-loop thread (directly when already on it) and may
// fill buf with its answer; in_len bytes of buf are the request and flags are
// the platform's. Returns the callback's result, or -1 when no module took it.
int32_t send_notify(uint32_t module, uint32_t event, uint32_t in_len, void* buf, uint32_t flags,
                    uint32_t buf_len);
}

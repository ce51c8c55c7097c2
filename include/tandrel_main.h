// Start-up of the daemon, its message-loop thread and the routing of module 58's events.
#pragma once

#include <cstdint>

// The shape of a module-58 event handler: the event's two argument words
// (for the GNSS control events, a1 points to the event's data).
using TandrelEventHandler = int32_t (*)(uintptr_t a1, uintptr_t a2);

// Heartbeat timer codes of event 58014.
inline constexpr uint32_t HBE_TIMER = 12;
inline constexpr uint32_t HBE_MAXTIMER = 13;
inline constexpr uint32_t HBE_ONE_TIME = 14;

// Joins the notify bus as module 58, starts the GNSS client and the adapters.
void tandrel_main(void);
// Event 58014: the IP stack's heartbeat timers.
int32_t nl_hbeevent_report(uint32_t code);

extern "C" {
// Body of the message-loop thread: the platform event loop.
void* tandrel_msg_thread(void* arg);
// Second callback of module 58: runs the handler of the event's row; -1 for
// an event without a row or without a handler.
int32_t tandrel_event_dispatch(uint32_t event, uintptr_t a1, uintptr_t a2);
}

// IP stack service: AT entry points and heartbeat work.
#pragma once

#include <cstdint>

extern "C" {
// Runs the heartbeat work of the IP stack.
void ipstack_hbecat_main(void);
// Heartbeat maximum-time handling; its result is the event's result.
int32_t ipstack_hbe_maxtime(int32_t arg);
}

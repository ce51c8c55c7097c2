// Simulated IP stack service of the host: the hooks its tests use besides the service calls.
#pragma once

#include <cstdint>

#include "notify_bus.h"

// How the simulation raises its module-62 events; notify_bus_raise unless a
// test puts its own recorder here (null restores the bus).
using SimIpstackRaise = int32_t (*)(const NotifyEvent& e);
void sim_ipstack_set_raise(SimIpstackRaise raise);

// Forgets every link, setting and injected failure, as after a module start.
void sim_ipstack_reset(void);

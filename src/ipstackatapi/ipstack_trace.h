// Trace of the IP stack relay: its own tag, so its lines can be told from the rest of the daemon.
#pragma once

#include "tandrel_trace.h"

#define IPSTACK_TRACE(level, ...) TANDREL_TRACE_TAG("ipstack", level, __VA_ARGS__)

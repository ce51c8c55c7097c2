// Trace of the IP stack relay: its own tag, so its lines can be told from the rest of the daemon.
#pragma once

#include "tandrel_trace.h"

inline constexpr char IPSTACK_TAG[] = "ipstack";
#define IPSTACK_TRACE(level, ...) TANDREL_TRACE_TAG(IPSTACK_TAG, level, __VA_ARGS__)

// tandrel-notify's delivery: one event datagram to the bus socket, one verdict back.
#pragma once

#include <string>

#include "notify_args.h"

enum class NotifySendResult { Queued, Refused, Unreachable };

// Sends the event to the bus socket of the run directory and waits up to
// timeout_ms for the bus's verdict; *message says what went wrong.
NotifySendResult notify_send(const NotifyArgs& args, int timeout_ms, std::string* message);

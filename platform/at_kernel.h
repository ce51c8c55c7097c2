// Platform link to the kernel AT driver: the response sender and its socket.
#pragma once

#include <pthread.h>

#include <cstdint>

#include "at_record.h"

extern "C" {
// Netlink socket of the AT channel, set by the daemon once it is bound.
extern int g_user_fd;
// Serialises every send on g_user_fd; the daemon initialises it at start.
extern pthread_mutex_t at_response;

// Sends size bytes of a response or report to the kernel AT driver on
// g_user_fd, under at_response. Returns 0, or -1 when the send failed.
int32_t send_at_response_to_kernel(AtResponse* rsp, uint32_t size);
}

// What every bench program that plays the kernel AT driver needs: its netlink
// socket, a server process started against it, its memory figures, and option numbers.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// A NETLINK_USERSOCK socket bound to port. rcvbuf_bytes enlarges the receive
// buffer (0 leaves it); the time-outs are in seconds (0: none). -1 on failure.
int driver_socket(uint32_t port, int rcvbuf_bytes, int send_timeout_s, int recv_timeout_s);

// Starts argv (argv[0] searched in PATH) with env_first ahead of this
// process's environment, so that its names win; standard output and error go
// to log when it is not empty. The process id, or -1.
pid_t spawn_with_env(const std::vector<std::string>& argv,
                     const std::vector<std::string>& env_first, const std::string& log);

// A figure of /proc/PID/status in KiB ("VmRSS:" the resident set, "VmHWM:"
// the most it has had), or 0 when it cannot be read.
uint64_t status_kb(pid_t pid, const char* field);

// A whole decimal text as a number; false for anything else or an overflow.
bool parse_u64(const char* s, uint64_t& out);

}  // namespace bench

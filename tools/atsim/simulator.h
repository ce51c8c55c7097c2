// The simulated kernel AT driver: netlink socket to the daemon, PTY ports, one poll loop.
#pragma once

#include <cstdint>
#include <string>

#include "port_session.h"

namespace atsim {

struct SimOptions {
    std::string run_dir;
    uint32_t port_id = 0;  // netlink port id the driver binds to
    int status_fd = -1;    // progress lines for a launcher, or -1
    SessionConfig session;
};

// Exit codes of run_simulator.
inline constexpr int kExitStopped = 0;        // stopped by a signal
inline constexpr int kExitSetupFailed = 1;    // socket, bind or PTY set-up failed
inline constexpr int kExitBadRegistration = 2;

// Runs until SIGINT, SIGTERM or SIGHUP, or until a registration is refused.
int run_simulator(const SimOptions& opt);

}  // namespace atsim

// Recording fakes of the service libraries: each call with its arguments, results chosen by a test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fake_gpsclient.h"
#include "gpsclient.h"

namespace fake {

struct Services {
    std::vector<std::string> calls;  // service calls by name, in order
    GpsClientCallbacks gps_callbacks{};
    // The IP stack's heartbeat calls (faked in fake_ipstack.cpp) record here.
    int32_t hbe_maxtime_result = 0;
    int32_t hbe_maxtime_arg = -1;

    // Also resets the GNSS client fake (fake_gpsclient.h).
    void reset() {
        *this = Services{};
        gps().reset();
    }
};

Services& services();

}  // namespace fake

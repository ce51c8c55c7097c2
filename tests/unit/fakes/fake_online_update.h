// Recording fake of the online update service: arguments of each call, results chosen by a test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "online_update.h"

namespace fake {

struct OnlineUpdate {
    std::vector<std::string> calls;  // online_update_* calls by name, in order

    // Every call returns `result`; a failing call that has an error word
    // writes `err_code` into it.
    int32_t result = 1;
    uint32_t err_code = 0;

    // Arguments of the last set calls.
    uint32_t operation = 0xFFFFFFFF;  // ^FOTADL, ^FOTAP, ^FOTASMSCFG value

    // What the queries answer.
    FotaModeRecord mode{};
    FotaConnectPara connect{};
    FotaDownloadProgress progress{};
    uint32_t value = 0;  // update state, policy, auto-download state

    void reset() { *this = OnlineUpdate{}; }
};

OnlineUpdate& online_update();

}  // namespace fake

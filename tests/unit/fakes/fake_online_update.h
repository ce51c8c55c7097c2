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
    // The error word as the caller handed it in (handlers must zero it).
    uint32_t err_in = 0xFFFFFFFF;

    // Arguments of the last set calls.
    FotaModeRecord set_mode{};
    FotaConnectPara set_connect{};
    uint32_t operation = 0xFFFFFFFF;  // ^FOTADL, ^FOTAP, ^FOTASMSCFG value
    std::string oem_arg;
    std::vector<uint8_t> oem_buffer;  // the whole 256-byte buffer as handed in

    // What the queries answer.
    FotaModeRecord mode{};
    FotaConnectPara connect{};
    FotaDownloadProgress progress{};
    uint32_t value = 0;  // update state, policy, auto-download state

    void reset() { *this = OnlineUpdate{}; }
    bool called(const std::string& name) const;
};

OnlineUpdate& online_update();

}  // namespace fake

// Recording fake of the firmware-load service: partition state and transfer start chosen by a test.
#pragma once

#include <cstdint>
#include <string>

namespace fake {

struct Xmodem {
    int32_t bbou_calls = 0;
    // start_xmodem_upg: its result (it writes an empty text).
    int32_t start_result = 0;
    int32_t start_calls = 0;
    std::string start_para;  // parameter 1 as the service saw it

    void reset() { *this = Xmodem{}; }
};

Xmodem& xmodem();

}  // namespace fake

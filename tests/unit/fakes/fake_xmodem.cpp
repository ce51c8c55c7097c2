// Recording fake of the firmware-load service.
#include "fake_xmodem.h"

#include <algorithm>
#include <cstring>

#include "xmodem.h"

namespace fake {
Xmodem& xmodem() {
    static Xmodem x;
    return x;
}
}  // namespace fake

using fake::xmodem;

extern "C" {

int32_t xu_check_bbou_state(void) {
    ++xmodem().bbou_calls;
    return xmodem().bbou_state;
}

int32_t start_xmodem_upg(AtRequest* pIn, AtResponse* pOut) {
    ++xmodem().start_calls;
    xmodem().start_para = std::string(at_para_text(pIn->m_para_list[0]));
    pOut->m_retenum = xmodem().start_retenum;
    const size_t n = std::min(xmodem().start_text.size(), sizeof pOut->m_buffer - 1);
    std::memcpy(pOut->m_buffer, xmodem().start_text.data(), n);
    pOut->m_buffer[n] = '\0';
    pOut->m_length = static_cast<uint32_t>(n);
    return xmodem().start_result;
}

}  // extern "C"

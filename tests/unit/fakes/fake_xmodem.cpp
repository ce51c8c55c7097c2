// Recording fake of the firmware-load service.
#include "fake_xmodem.h"


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
    return 1;
}

int32_t start_xmodem_upg(AtRequest* pIn, AtResponse* pOut) {
    ++xmodem().start_calls;
    xmodem().start_para = std::string(at_para_text(pIn->m_para_list[0]));
    pOut->m_retenum = 0;
    pOut->m_buffer[0] = '\0';
    pOut->m_length = 0;
    return xmodem().start_result;
}

}  // extern "C"

// Stubs of the firmware-load service: the partition is ready, a start answers nothing.
#include "xmodem.h"

extern "C" {

int32_t xu_check_bbou_state(void) { return 1; }

int32_t start_xmodem_upg(AtRequest*, AtResponse* pOut) {
    pOut->m_retenum = 0;
    pOut->m_buffer[0] = '\0';
    pOut->m_length = 0;
    return 0;
}

}  // extern "C"

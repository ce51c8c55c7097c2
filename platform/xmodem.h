// Firmware-load service: the partition check and the XMODEM transfer over the AT port.
#pragma once

#include <cstdint>

#include "at_record.h"

extern "C" {
// State of the update partition; 0 means a transfer must not start.
int32_t xu_check_bbou_state(void);
// Starts the XMODEM firmware transfer on the request's port. Reads the
// request's parameter itself and fills the response (m_retenum 0 once the
// transfer owns the port). Its result is the handler's result.
int32_t start_xmodem_upg(AtRequest* pIn, AtResponse* pOut);
}

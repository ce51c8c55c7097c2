// ^FWLOAD: hands the AT port over to the XMODEM firmware loader.
#pragma once

#include "at_record.h"

// Refusals and the loader's own failures before the transfer starts.
inline constexpr int32_t XMODEM_RET_REFUSED = 10;

// ^FWLOAD set. The result of start_xmodem_upg, or -1 on refusal.
int32_t At_StartXmodemUpg(AtRequest* pIn, AtResponse* pOut);

// ^FWLOAD: the module-type, port, parameter and partition checks before the XMODEM firmware transfer.
#include "module_info.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"
#include "xmodem.h"
#include "xmodem_at_handlers.h"

namespace {

// Module type 1 has no serial firmware load.
constexpr int32_t kM2mTypeCe = 1;
// The ports of IP stack channels 5 to 8 cannot carry a transfer.
constexpr uint32_t kIpChannelPortFirst = 49;
constexpr uint32_t kIpChannelPortLast = 52;
// Time the platform gets to act on the application status before the port changes hands.
constexpr uint32_t kHandOverDelayMs = 500;

bool request_acceptable(const AtRequest& req) {
    if (req.m_uindex >= kIpChannelPortFirst && req.m_uindex <= kIpChannelPortLast) {
        return false;
    }
    const AtCmdParam& mode = req.m_para_list[0];
    return mode.usParaLen == 1 && (mode.aucPara[0] == '0' || mode.aucPara[0] == '1') &&
           req.m_para_count == 1;
}

}  // namespace

int32_t At_StartXmodemUpg(AtRequest* pIn, AtResponse* pOut) {
    TANDREL_TRACE(TRACE_LEVEL_DEBUG, "At_StartXmodemUpg enter !!!\r\n");
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "At_StartXmodemUpg input error");
        return TANDREL_FAIL;
    }
    if (g_m2m_type == kM2mTypeCe) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "It is the CE product!");
        at_set_error(pOut, XMODEM_RET_REFUSED);
        return TANDREL_FAIL;
    }
    if (!request_acceptable(*pIn)) {
        at_set_error(pOut, XMODEM_RET_REFUSED);
        return TANDREL_FAIL;
    }

    const int32_t bbou_state = xu_check_bbou_state();
    TANDREL_TRACE(TRACE_LEVEL_DEBUG, "checkbboustate is <%d>", bbou_state);
    if (bbou_state == 0) {
        at_set_error(pOut, XMODEM_RET_REFUSED);
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "real_start_xmodem_upg checkbboustate = <%d>\r\n",
                      bbou_state);
        return TANDREL_FAIL;
    }
    // The status only informs the platform; the transfer starts either way.
    if (QSP_UTIL_UpdateDynAppStatus("xmodemupg", 1) == 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "[QSP_UTIL_UpdateDynAppStatus] -xmodemupg error\n");
    }
    osa_sleep(kHandOverDelayMs);

    const int32_t result = start_xmodem_upg(pIn, pOut);
    TANDREL_TRACE(TRACE_LEVEL_DEBUG, "At_StartXmodemUpg leave !!!\r\n");
    return result;
}

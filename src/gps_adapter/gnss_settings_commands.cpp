// Basic GNSS settings commands and the common not-supported handler.
#include "gps_at_handlers.h"
#include "tandrel_trace.h"

int32_t AT_GPS_NotSupport(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    at_set_error(pOut, AT_RET_NO_HANDLER);
    return TANDREL_OK;
}

// GNSS adapter state and the lazy read of the output port configuration.
#include "gnss_state.h"

#include <mutex>

#include "gpsclient.h"
#include "osa.h"
#include "tandrel_trace.h"

std::atomic<int32_t> g_PortCfg{0};
std::atomic<int32_t> g_PortCfgReady{0};
std::atomic<int32_t> g_gnssPortFlag{0};
std::atomic<int32_t> g_nmeaPortFlag{0};
std::atomic<int32_t> g_fixsionFlag{0};
std::atomic<int32_t> g_nmealoggingFlag{0};
std::atomic<int32_t> g_NiTimer{0};
std::atomic<int32_t> g_NiReqId{0};
std::atomic<int32_t> g_posendFlag{1};

namespace {

// The first report may come from the client's thread while a command runs on
// the message-loop thread: the lock makes the read happen once and keeps a
// concurrent ^WPPORT from being overwritten by it.
std::mutex g_portCfgLock;

constexpr uint32_t kPortCfgRetryMs = 100;

}  // namespace

int32_t gps_get_portcfg(void) {
    if (g_PortCfgReady.load() == 1) {
        return 1;
    }
    std::lock_guard<std::mutex> lock(g_portCfgLock);
    if (g_PortCfgReady.load() == 1) {
        return 1;
    }
    int32_t value = 0;
    int32_t err = 0;
    if (gpsclient_portCfg(GPS_OP_GET, &value, &err) == 0) {
        // The client may not have its configuration yet right after start.
        osa_sleep(kPortCfgRetryMs);
        value = 0;
        err = 0;
        if (gpsclient_portCfg(GPS_OP_GET, &value, &err) == 0) {
            value = 0;
        }
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "get portcfg from gpsmgr failed due to notify");
    }
    g_PortCfg.store(value);
    g_PortCfgReady.store(1);
    return 1;
}

void gps_set_portcfg(int32_t value) {
    std::lock_guard<std::mutex> lock(g_portCfgLock);
    g_PortCfg.store(value);
    g_PortCfgReady.store(1);
}

void gnss_adapter_reset(void) {
    {
        std::lock_guard<std::mutex> lock(g_portCfgLock);
        g_PortCfg.store(0);
        g_PortCfgReady.store(0);
    }
    g_gnssPortFlag.store(0);
    g_nmeaPortFlag.store(0);
    g_fixsionFlag.store(0);
    g_nmealoggingFlag.store(0);
    g_NiTimer.store(0);
    g_NiReqId.store(0);
    g_posendFlag.store(1);
    gnss_fix_caches_reset();
}

bool gnss_null_params(const AtRequest* pIn, const AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return true;
    }
    return false;
}

int32_t gnss_refuse(AtResponse* pOut, int32_t retenum, const char* trace) {
    if (trace != nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s", trace);
    }
    at_set_error(pOut, retenum);
    return TANDREL_FAIL;
}

int32_t gnss_client_failed(AtResponse* pOut, int32_t err) {
    at_set_error(pOut, gps_err_retenum(err));
    return TANDREL_OK;
}

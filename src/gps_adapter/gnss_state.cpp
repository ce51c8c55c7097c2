// GNSS adapter state, the port configuration read, and the helpers every GNSS file shares.
#include "gnss_state.h"

#include <atomic>
#include <cstring>

#include "gpsclient.h"
#include "osa.h"
#include "tandrel_trace.h"

namespace {

std::atomic<int32_t> g_PortCfg{0};
std::atomic<int32_t> g_PortCfgReady{0};
std::atomic<int32_t> g_gnssPortFlag{0};
std::atomic<int32_t> g_nmeaPortFlag{0};
std::atomic<int32_t> g_fixsionFlag{0};
std::atomic<int32_t> g_nmealoggingFlag{0};
std::atomic<int32_t> g_NiTimer{0};
std::atomic<int32_t> g_NiReqId{0};
std::atomic<int32_t> g_posendFlag{1};

std::atomic<int32_t>& slot(GnssValue value) {
    switch (value) {
        case GnssValue::PortCfg:
            return g_PortCfg;
        case GnssValue::PortCfgReady:
            return g_PortCfgReady;
        case GnssValue::GnssPortFlag:
            return g_gnssPortFlag;
        case GnssValue::NmeaPortFlag:
            return g_nmeaPortFlag;
        case GnssValue::FixsionFlag:
            return g_fixsionFlag;
        case GnssValue::NmealoggingFlag:
            return g_nmealoggingFlag;
        case GnssValue::NiTimer:
            return g_NiTimer;
        case GnssValue::NiReqId:
            return g_NiReqId;
        case GnssValue::PosendFlag:
            break;
    }
    return g_posendFlag;
}

// The first report may come from the client's thread while a command runs on
// the message-loop thread: the lock makes the read happen once and keeps a
// concurrent ^WPPORT from being overwritten by it.
pthread_mutex_t g_portCfgLock = PTHREAD_MUTEX_INITIALIZER;

constexpr uint32_t kPortCfgRetryMs = 100;

constexpr uint32_t kGpsCodeFirst = 276;
constexpr int8_t kGpsRetenum[] = {88, 89, 90, 91, 20, 92, 93, 94, 95, 96, 20, 97};

}  // namespace

int32_t gnss_get(GnssValue value) {
    return slot(value).load();
}

void gnss_set(GnssValue value, int32_t v) {
    if (value == GnssValue::PortCfg || value == GnssValue::PortCfgReady) {
        // The same lock as the first read, which must not overwrite it.
        GnssLock lock(g_portCfgLock);
        slot(value).store(v);
        return;
    }
    slot(value).store(v);
}

uint32_t gps_report_port(uint32_t split_port) {
    return g_PortCfg.load() == 1 ? GNSS_SINGLE_PORT : split_port;
}

int32_t gps_get_portcfg(void) {
    if (g_PortCfgReady.load() == 1) {
        return 1;
    }
    GnssLock lock(g_portCfgLock);
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
    GnssLock lock(g_portCfgLock);
    g_PortCfg.store(value);
    g_PortCfgReady.store(1);
}

int32_t gps_errcode_to_retenum(uint32_t code) {
    if (code < kGpsCodeFirst || code - kGpsCodeFirst >= sizeof kGpsRetenum) {
        return AT_RET_NO_HANDLER;
    }
    return kGpsRetenum[code - kGpsCodeFirst];
}

void gnss_state_reset(void) {
    {
        GnssLock lock(g_portCfgLock);
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

bool gnss_count_ok(const AtRequest* pIn, AtResponse* pOut, const GnssCountRule& rule) {
    if (pIn->m_para_count < rule.min) {
        gnss_refuse(pOut, rule.none_ret, rule.none_trace);
        return false;
    }
    if (pIn->m_para_count > rule.max) {
        gnss_refuse(pOut, rule.over_ret, rule.over_trace);
        return false;
    }
    return true;
}

void gnss_append(AtResponse* pOut, const char* piece) {
    const size_t used = strnlen(pOut->m_buffer, sizeof pOut->m_buffer - 1);
    strncpy_s(pOut->m_buffer + used, sizeof pOut->m_buffer - used, piece, strlen(piece));
    pOut->m_length = static_cast<uint32_t>(strnlen(pOut->m_buffer, sizeof pOut->m_buffer - 1));
}

int32_t gnss_radio_test(AtRequest* pIn, AtResponse* pOut, const char* name, const char* ranges,
                        GnssRadioTraces traces) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    int32_t radio = 0;
    int32_t err = 0;
    if (gpsclient_WPCAP(GPS_OP_GET, &radio, &err) == 0) {
        return gnss_refuse(pOut, gps_err_retenum(err), traces.read_failed);
    }
    if (radio == GPS_RADIO_OFF) {
        if (traces.off != nullptr) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s", traces.off);
        }
        at_set_error(pOut, GPS_RET_RADIO_OFF);
        return TANDREL_OK;
    }
    at_set_textf(pOut, "\r\n%s: %s\r\n\r\nOK\r\n", name, ranges);
    return TANDREL_OK;
}

size_t gnss_text_length(const char* text, int32_t length, size_t cap) {
    if (text == nullptr || length <= 0) {
        return 0;
    }
    const size_t limit = static_cast<size_t>(length) < cap ? static_cast<size_t>(length) : cap;
    return strnlen(text, limit);
}

void gnss_send_report(const char* text, size_t len, uint32_t port, uint32_t id) {
    AtReport report({port, id, GNSS_REPORT_PROTOCOL}, TANDREL_TAG, "failed to malloc!\r\n");
    if (report) {
        report.send({text, len});
    }
}

void AT_Gnss_nmea_cb(int64_t /*timestamp*/, const char* text, int32_t length) {
    AT_Gnss_info_send(text, length);
}

void AT_Gnss_info_send(const char* text, int32_t length) {
    gps_get_portcfg();
    if (text != nullptr) {
        gnss_send_report(text, gnss_text_length(text, length, GNSS_REPORT_TEXT_MAX),
                         gps_report_port(GNSS_PORT), GNSS_REPORT_ID_NMEA);
    }
}

// GNSS control layer: the engine shared by three users, and the control operations.
#include "gnss_control.h"

#include <cstring>

#include "gnss_reports.h"
#include "gnss_state.h"
#include "gps_at_handlers.h"
#include "gpsclient.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"

// Three users want fixes from one engine: the GNSS port, the NMEA port and the
// fix session of the control events. The GNSS port and the fix session count
// as one side, the NMEA port as the other; the engine is started or stopped
// only while the radio is on and the other side is idle.

namespace {

// "$GPERR" tags of the control operations.
constexpr char kTagFixSession[] = "b2";
constexpr char kTagResetEngine[] = "b4";
constexpr char kTagAgnssVer[] = "b6";
constexpr char kTagNiAllowed[] = "b9";
constexpr char kTagNiTimer[] = "ba";
constexpr char kTagOperateMode[] = "bb";
constexpr char kTagSuplAddr[] = "bc";
constexpr char kTagNmeaLogging[] = "bd";

constexpr int32_t kAidingResetEngine = 4;
constexpr uint32_t kNiTimerMax = 255;
constexpr size_t kGnssVerBuf = 20;

bool any_user_running() {
    return gnss_get(GnssValue::NmeaPortFlag) == 1 || gnss_get(GnssValue::GnssPortFlag) == 1 ||
           gnss_get(GnssValue::FixsionFlag) == 1;
}

// Whether the users of the other side leave the engine to this one.
bool gnss_side_may_drive(int32_t radio) {
    return radio == GPS_RADIO_ON && gnss_get(GnssValue::NmeaPortFlag) == 0;
}
bool nmea_side_may_drive(int32_t radio) {
    return radio == GPS_RADIO_ON && gnss_get(GnssValue::GnssPortFlag) == 0 &&
           gnss_get(GnssValue::FixsionFlag) == 0;
}

// Reads the radio state; false when the client fails (err filled).
bool read_radio(int32_t* radio, int32_t* err) {
    *radio = 0;
    *err = 0;
    return gpsclient_WPCAP(GPS_OP_GET, radio, err) != 0;
}

// One port user of ^NLGPSOPT.
struct PortUser {
    GnssValue flag;
    bool (*may_drive)(int32_t radio);
    const char* started_trace;
    const char* stopped_trace;
};

const PortUser kPortUsers[] = {
    {GnssValue::GnssPortFlag, gnss_side_may_drive, "the gnss port have started!\r\n",
     "the gnss port have stoped!\r\n"},
    {GnssValue::NmeaPortFlag, nmea_side_may_drive, "the nmea port have started!\r\n",
     "the nmea port have stoped!\r\n"},
};

// Count and port checks and the radio read shared by ^NLGPSOPT set and query.
// Returns the port user, or null with the response filled.
const PortUser* nmea_opt_prologue(const AtRequest* pIn, AtResponse* pOut, int32_t* radio) {
    if (pIn->m_para_count != 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "too many params!\r\n");
        at_set_error(pOut, AT_RET_NO_HANDLER);
        return nullptr;
    }
    const uint32_t port = pIn->m_para_list[0].ulParaValue;
    if (port >= 2) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "the port is error\r\n");
        at_set_error(pOut, GPS_RET_BAD_VALUE);
        return nullptr;
    }
    int32_t err = 0;
    if (!read_radio(radio, &err)) {
        at_set_error(pOut, gps_err_retenum(err));
        return nullptr;
    }
    return &kPortUsers[port];
}

// The engine call of ^WPDGP and ^WPEND, which do not consult the other users.
int32_t port_fix(AtRequest* pIn, AtResponse* pOut, int32_t (*engine)(int32_t*), int32_t flag) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    int32_t err = 0;
    if (engine(&err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    gnss_set(GnssValue::GnssPortFlag, flag);
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

// ^NLGPSOPT set: the port user starts (flag 1) or stops (flag 0) its fixes;
// the engine follows only when the other side leaves it to this one.
int32_t nmea_fix(AtRequest* pIn, AtResponse* pOut, int32_t flag) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    int32_t radio = 0;
    const PortUser* user = nmea_opt_prologue(pIn, pOut, &radio);
    if (user == nullptr) {
        return TANDREL_FAIL;
    }
    bool failed = false;
    int32_t code = 0;
    if (gnss_get(user->flag) == flag) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s",
                      flag == 1 ? user->started_trace : user->stopped_trace);
        failed = true;
        code = flag == 1 ? GPS_ERR_ALREADY_STARTED : GPS_ERR_ALREADY_STOPPED;
    } else if (user->may_drive(radio)) {
        if (flag == 1) {
            TANDREL_TRACE(TRACE_LEVEL_INFO, "will open the GPS !!!!\r\n");
            failed = gpsclient_startFix(&code) == 0;
        } else {
            TANDREL_TRACE(TRACE_LEVEL_INFO, "will close the GPS !!!!\r\n");
            failed = gpsclient_stopFix(&code) == 0;
        }
    }
    if (failed) {
        at_set_error(pOut, gps_err_retenum(code));
        return TANDREL_OK;
    }
    gnss_set(user->flag, flag);
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

}  // namespace

int32_t AT_GPS_StartFix(AtRequest* pIn, AtResponse* pOut) {
    return port_fix(pIn, pOut, gpsclient_startFix, 1);
}

int32_t AT_GPS_StopFix(AtRequest* pIn, AtResponse* pOut) {
    return port_fix(pIn, pOut, gpsclient_stopFix, 0);
}

int32_t AT_NMEA_StartFix(AtRequest* pIn, AtResponse* pOut) {
    return nmea_fix(pIn, pOut, 1);
}

int32_t AT_NMEA_StopFix(AtRequest* pIn, AtResponse* pOut) {
    return nmea_fix(pIn, pOut, 0);
}

int32_t GNSS_IOCTRL_Gnss_Radio(int32_t state) {
    int32_t err = 0;
    if (state == GPS_RADIO_OFF) {
        // The users keep their flags: whoever ran is resumed when the radio
        // comes back on.
        if (any_user_running() && gpsclient_stopFix(&err) == 0) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Gnss_Radio stop fix failed %d\r\n", err);
            return -1;
        }
        err = 0;
        if (gpsclient_WPCAP(GPS_OP_SET, &state, &err) == 0) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Gnss_Radio set radio failed %d\r\n", err);
            return -1;
        }
        return 0;
    }
    if (state != GPS_RADIO_ON) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Gnss_Radio error state %d\r\n", state);
        return -1;
    }
    if (gpsclient_WPCAP(GPS_OP_SET, &state, &err) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Gnss_Radio set radio failed %d\r\n", err);
        return -1;
    }
    err = 0;
    if (any_user_running() && gpsclient_startFix(&err) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Gnss_Radio start fix failed %d\r\n", err);
        return -1;
    }
    return 0;
}

int32_t GNSS_IOCTRL_Start_Fixsession(const uint32_t* fixType, const uint32_t* fixPara) {
    if (fixType == nullptr || fixPara == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return -1;
    }
    // The fix type is checked before anything is asked of the client.
    int32_t type = 0;
    if (*fixType == 1) {
        type = 0;
    } else if (*fixType == 3) {
        type = 1;
    } else {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Start_Fixsession error fixtype \r\n");
        return -1;
    }
    int32_t radio = 0;
    int32_t err = 0;
    if (!read_radio(&radio, &err)) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Start_Fixsession read radio failed\r\n");
        return -1;
    }
    err = 0;
    if (gpsclient_sessionType(GPS_OP_SET, &type, &err) == 0) {
        // The engine already runs for the NMEA port: the session shares it.
        if (err == GPS_ERR_ALREADY_STARTED && gnss_get(GnssValue::NmeaPortFlag) == 1) {
            gnss_set(GnssValue::FixsionFlag, 1);
        }
        GNSS_IOCTRL_ReportErr(kTagFixSession, err);
        return err;
    }
    if (type == 1) {
        int32_t times = 0;
        int32_t interval = 0;
        err = 0;
        if (gpsclient_freqAndInterval(GPS_OP_GET, &times, &interval, &err, 0) == 0) {
            GNSS_IOCTRL_ReportErr(kTagFixSession, err);
            return err;
        }
        interval = static_cast<int32_t>(*fixPara);
        err = 0;
        if (gpsclient_freqAndInterval(GPS_OP_SET, &times, &interval, &err, 2) == 0) {
            GNSS_IOCTRL_ReportErr(kTagFixSession, err);
            return err;
        }
    }
    if (gnss_side_may_drive(radio)) {
        err = 0;
        if (gpsclient_startFix(&err) == 0) {
            GNSS_IOCTRL_ReportErr(kTagFixSession, err);
            return err;
        }
    }
    gnss_set(GnssValue::FixsionFlag, 1);
    return 0;
}

int32_t GNSS_IOCTRL_Stop_Fixsession(void) {
    int32_t radio = 0;
    int32_t err = 0;
    if (!read_radio(&radio, &err)) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Stop_Fixsession read radio failed\r\n");
        return -1;
    }
    if (gnss_side_may_drive(radio)) {
        err = 0;
        if (gpsclient_stopFix(&err) == 0) {
            GNSS_IOCTRL_ReportErr(kTagFixSession, err);
            return err;
        }
    }
    gnss_set(GnssValue::FixsionFlag, 0);
    return 0;
}

int32_t GNSS_IOCTRL_Set_Operate_Mode(const uint32_t* mode) {
    if (mode == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return -1;
    }
    int32_t client_mode = 0;
    switch (*mode) {
        case 2:
            client_mode = 5;
            break;
        case 4:
            client_mode = 0;
            break;
        case 1:
            client_mode = 1;
            break;
        default:
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Set_Operate_Mode error mode %u\r\n",
                          *mode);
            return -1;
    }
    int32_t err = 0;
    if (gpsclient_operateMode(GPS_OP_SET, &client_mode, &err) == 0) {
        GNSS_IOCTRL_ReportErr(kTagOperateMode, err);
        return err;
    }
    return 0;
}

int32_t GNSS_IOCTRL_SET_Ni_Allowed(const uint32_t* allow) {
    if (allow == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return -1;
    }
    if (*allow >= 2) {
        return GPS_ERR_BAD_PARAM;
    }
    int32_t value = static_cast<int32_t>(*allow);
    int32_t req_id = gnss_get(GnssValue::NiReqId);
    int32_t err = 0;
    if (gpsclient_WNICT(GPS_OP_SET, &value, &req_id, &err) == 0) {
        GNSS_IOCTRL_ReportErr(kTagNiAllowed, err);
        return err;
    }
    return 0;
}

int32_t GNSS_IOCTRL_Set_Nitime(const uint32_t* time) {
    if (time == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return -1;
    }
    if (*time > kNiTimerMax) {
        GNSS_IOCTRL_ReportErr(kTagNiTimer, GPS_ERR_BAD_PARAM);
        return GPS_ERR_BAD_PARAM;
    }
    // The NI callback reads the timer from the client's thread; the client
    // gets a copy.
    int32_t value = static_cast<int32_t>(*time);
    gnss_set(GnssValue::NiTimer, value);
    if (gpsclient_SET_NITIMER(&value) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_Set_Nitime set timer failed\r\n");
        return -1;
    }
    return 0;
}

int32_t GNSS_IOCTRL_Set_NMEAlogging_Mode(const uint32_t* mode) {
    if (mode == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return -1;
    }
    if (*mode > 1) {
        GNSS_IOCTRL_ReportErr(kTagNmeaLogging, GPS_ERR_BAD_PARAM);
        return -1;
    }
    gnss_set(GnssValue::NmealoggingFlag, static_cast<int32_t>(*mode));
    return 0;
}

int32_t IOCTRL_GPS_Reset_Engine(void) {
    int32_t value = kAidingResetEngine;
    int32_t err = 0;
    if (gpsclient_aidingData(GPS_OP_SET, &value, &err) == 0) {
        GNSS_IOCTRL_ReportErr(kTagResetEngine, err);
        return -1;
    }
    return 0;
}

int32_t IOCTRL_GPS_SetGNSSAddr(const char* address, uint16_t length) {
    if (address == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return -1;
    }
    int32_t err = 0;
    // On a set the client only reads the address.
    if (gpsclient_WPURL(GPS_OP_SET, const_cast<char*>(address), length, &err) == 0) {
        GNSS_IOCTRL_ReportErr(kTagSuplAddr, err);
        return -1;
    }
    return 0;
}

int32_t IOCTRL_GPS_SetAGNSSVer(uint32_t version) {
    GpsAgnssCfg cfg{};
    int32_t err = 0;
    bool ok = gpsclient_AGNSSCFG(GPS_OP_GET, &cfg, &err) != 0;
    if (ok) {
        cfg.supl_ver = version;
        err = 0;
        ok = gpsclient_AGNSSCFG(GPS_OP_SET, &cfg, &err) != 0;
    }
    if (!ok) {
        GNSS_IOCTRL_ReportErr(kTagAgnssVer, err);
        return -1;
    }
    char text[kGnssVerBuf] = {};
    new_snprintf_s(text, sizeof text, sizeof text - 1, "\r\n$GPGNSSVER,%d,*\r\n",
                   static_cast<int32_t>(version));
    AT_nmea_cb(0, text, static_cast<int32_t>(strlen(text)));
    return 0;
}

int32_t GNSS_IOCTRL_ClearAgnssData(const uint8_t* mode) {
    if (mode == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return -1;
    }
    int32_t value = 0;
    switch (*mode) {
        case 1:
            value = 5;
            break;
        case 2:
            value = 6;
            break;
        case 3:
            value = 3;
            break;
        default:
            TANDREL_TRACE(TRACE_LEVEL_ERROR,
                          "GNSS_IOCTRL_ClearAgnssData: The mode is not support!\r\n");
            return -1;
    }
    int32_t err = 0;
    if (gpsclient_aidingData(GPS_OP_SET, &value, &err) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "GNSS_IOCTRL_ClearAgnssData: Clear aiding data failed!\r\n");
        return -1;
    }
    return 0;
}

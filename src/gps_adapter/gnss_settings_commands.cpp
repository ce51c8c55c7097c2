// Basic GNSS settings commands (^WPDOM … ^WPPORT, ^NLGPSOPT test) and the common not-supported
// handler.
#include <cstring>

#include "gnss_state.h"
#include "gps_at_handlers.h"
#include "gpsclient.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"

namespace {

constexpr char kParamsError[] = "params have error!\r\n";

// Count rules of the set operations: a missing parameter and a surplus one.
constexpr GnssCountRule kOneValue{1, 1};
constexpr GnssCountRule kTwoValues{1, 2};
constexpr GnssCountRule kAnyDataRule{
    1, 1, GPS_RET_PARAM_COUNT, kParamsError, GPS_RET_PARAM_COUNT, kParamsError};
constexpr GnssCountRule kStrictOne{
    1, 1, AT_RET_NO_HANDLER, GNSS_TRACE_TOO_MANY, AT_RET_NO_HANDLER, GNSS_TRACE_TOO_MANY};

using GpsValueCall = int32_t (*)(int32_t op, int32_t* value, int32_t* err);

// One settings command. The set operation checks the count, may refuse the
// value (admit), makes the one client call and may act on success (after).
struct Setting {
    const char* name;
    const char* ranges;  // the test text's value part
    GnssCountRule count;
    GpsValueCall call;  // null for ^WPDFR and ^NLGPSOPT, which call differently
    bool trace_value;
    bool (*admit)(int32_t value, AtResponse* pOut);
    void (*after)(int32_t value, AtResponse* pOut);
};

bool admit_op_mode(int32_t mode, AtResponse* pOut);
bool admit_supl_acap(int32_t value, AtResponse* pOut);
void after_port_cfg(int32_t port, AtResponse* pOut);

enum SettingId {
    kWpdom,
    kWpdst,
    kWpdfr,
    kWpdgl,
    kWpdim,
    kWpdnm,
    kWplpm,
    kSuplacap,
    kWpport,
    kNiText
};

const Setting kSettings[] = {
    {"^WPDOM", "(0,1,5)", kOneValue, gpsclient_operateMode, false, admit_op_mode, nullptr},
    {"^WPDST", "(0-2)", kOneValue, gpsclient_sessionType, false, nullptr, nullptr},
    {"^WPDFR", "(0-65535),(1-1800)", kTwoValues, nullptr, false, nullptr, nullptr},
    {"^WPDGL", "(0-3)", kOneValue, gpsclient_locks, false, nullptr, nullptr},
    {"^WPDIM", "(0-3)", kOneValue, gpsclient_aidingData, false, nullptr, nullptr},
    {"^WPDNM", "(0-12)", kAnyDataRule, gpsclient_anyData, false, nullptr, nullptr},
    {"^WPLPM", "(0,1)", kStrictOne, gpsclient_WPLPM, true, nullptr, nullptr},
    {"^SUPLACAP", "(0,1)", kStrictOne, gpsclient_SuplAutonomousCapable, true, admit_supl_acap,
     nullptr},
    {"^WPPORT", "(0-1)", kOneValue, gpsclient_portCfg, false, nullptr, after_port_cfg},
    {"^NLGPSOPT", nullptr, kOneValue, nullptr, false, nullptr, nullptr},
};

// "\r\n^NAME: <values>\r\n\r\nOK\r\n".
void answer(AtResponse* pOut, const char* name, const char* values) {
    at_set_textf(pOut, "\r\n%s: %s\r\n\r\nOK\r\n", name, values);
}

int32_t setting_set(const Setting& s, AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, s.count)) {
        return TANDREL_FAIL;
    }
    int32_t value = gnss_value(pIn, 0);
    if (s.trace_value) {
        TANDREL_TRACE(TRACE_LEVEL_INFO, "ulParaValue's value is %d!\r\n", value);
    }
    if (s.admit != nullptr && !s.admit(value, pOut)) {
        return TANDREL_FAIL;
    }
    const int32_t written = value;
    int32_t err = 0;
    if (s.call(GPS_OP_SET, &value, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    if (s.after != nullptr) {
        s.after(written, pOut);
    }
    return TANDREL_OK;
}

int32_t setting_query(const Setting& s, AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    int32_t value = 0;
    int32_t err = 0;
    if (s.call(GPS_OP_GET, &value, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    char text[16];
    new_snprintf_s(text, sizeof text, sizeof text - 1, "%d", value);
    answer(pOut, s.name, text);
    return TANDREL_OK;
}

int32_t setting_test(const Setting& s, AtRequest* pIn, AtResponse* pOut) {
    return gnss_radio_test(pIn, pOut, s.name, s.ranges);
}

// MS-assisted and MS-based modes need SUPL; autonomous mode 0 always passes.
bool admit_op_mode(int32_t mode, AtResponse* pOut) {
    int32_t supl = 0;
    int32_t err = 0;
    if (gpsclient_suplfeature(GPS_OP_GET, &supl, &err) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_SetOpMode:read the supl fail\r\n");
        at_set_error(pOut, gps_err_retenum(err));
        return false;
    }
    if (supl == 1 && (mode == 1 || mode == 5)) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "AT_GPS_SetOpMode:supl is close,can not set msa and msb\r\n");
        at_set_error(pOut, GPS_RET_SUPL_CLOSED);
        return false;
    }
    return true;
}

bool admit_supl_acap(int32_t value, AtResponse* pOut) {
    if (static_cast<uint32_t>(value) >= 2) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "param is error!\r\n");
        at_set_error(pOut, AT_RET_NO_HANDLER);
        return false;
    }
    return true;
}

// The kernel driver learns the new routing from m_protocol: 3 single port,
// 2 split.
void after_port_cfg(int32_t port, AtResponse* pOut) {
    const bool single = port == 1;
    pOut->m_protocol = single ? 3 : 2;
    gps_set_portcfg(single ? 1 : 0);
}

}  // namespace

int32_t AT_GPS_NotSupport(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    at_set_error(pOut, AT_RET_NO_HANDLER);
    return TANDREL_OK;
}

int32_t AT_GPS_SetOpMode(AtRequest* pIn, AtResponse* pOut) {
    return setting_set(kSettings[kWpdom], pIn, pOut);
}
int32_t AT_GPS_ReadOpMode(AtRequest* pIn, AtResponse* pOut) {
    return setting_query(kSettings[kWpdom], pIn, pOut);
}
int32_t AT_GPS_TestOpMode(AtRequest* pIn, AtResponse* pOut) {
    return setting_test(kSettings[kWpdom], pIn, pOut);
}

int32_t AT_GPS_SetSessionType(AtRequest* pIn, AtResponse* pOut) {
    return setting_set(kSettings[kWpdst], pIn, pOut);
}
int32_t AT_GPS_ReadSessionType(AtRequest* pIn, AtResponse* pOut) {
    return setting_query(kSettings[kWpdst], pIn, pOut);
}
int32_t AT_GPS_TestSessionType(AtRequest* pIn, AtResponse* pOut) {
    return setting_test(kSettings[kWpdst], pIn, pOut);
}

// The fifth argument tells the client whether the interval is meant.
int32_t AT_GPS_SetFixRate(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, kSettings[kWpdfr].count)) {
        return TANDREL_FAIL;
    }
    const auto count = static_cast<int32_t>(pIn->m_para_count);
    int32_t times = gnss_value(pIn, 0);
    int32_t interval = count == 2 ? gnss_value(pIn, 1) : 0;
    int32_t err = 0;
    if (gpsclient_freqAndInterval(GPS_OP_SET, &times, &interval, &err, count) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}
int32_t AT_GPS_ReadFixRate(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    int32_t times = 0;
    int32_t interval = 0;
    int32_t err = 0;
    if (gpsclient_freqAndInterval(GPS_OP_GET, &times, &interval, &err, 0) == 0) {
        return gnss_client_failed(pOut, err);
    }
    char text[32];
    new_snprintf_s(text, sizeof text, sizeof text - 1, "%d,%d", times, interval);
    answer(pOut, kSettings[kWpdfr].name, text);
    return TANDREL_OK;
}
int32_t AT_GPS_TestFixRate(AtRequest* pIn, AtResponse* pOut) {
    return setting_test(kSettings[kWpdfr], pIn, pOut);
}

int32_t AT_GPS_SetLocks(AtRequest* pIn, AtResponse* pOut) {
    return setting_set(kSettings[kWpdgl], pIn, pOut);
}
int32_t AT_GPS_ReadLocks(AtRequest* pIn, AtResponse* pOut) {
    return setting_query(kSettings[kWpdgl], pIn, pOut);
}
int32_t AT_GPS_TestLocks(AtRequest* pIn, AtResponse* pOut) {
    return setting_test(kSettings[kWpdgl], pIn, pOut);
}

int32_t AT_GPS_SetAidingData(AtRequest* pIn, AtResponse* pOut) {
    return setting_set(kSettings[kWpdim], pIn, pOut);
}
int32_t AT_GPS_TestAidingData(AtRequest* pIn, AtResponse* pOut) {
    return setting_test(kSettings[kWpdim], pIn, pOut);
}

int32_t AT_GPS_SetAnyData(AtRequest* pIn, AtResponse* pOut) {
    return setting_set(kSettings[kWpdnm], pIn, pOut);
}
int32_t AT_GPS_TestAnyData(AtRequest* pIn, AtResponse* pOut) {
    return setting_test(kSettings[kWpdnm], pIn, pOut);
}

int32_t AT_GPS_SetLpm(AtRequest* pIn, AtResponse* pOut) {
    return setting_set(kSettings[kWplpm], pIn, pOut);
}
int32_t AT_GPS_ReadLpm(AtRequest* pIn, AtResponse* pOut) {
    return setting_query(kSettings[kWplpm], pIn, pOut);
}
int32_t AT_GPS_TestLpm(AtRequest* pIn, AtResponse* pOut) {
    return setting_test(kSettings[kWplpm], pIn, pOut);
}

int32_t AT_GPS_SetSuplACap(AtRequest* pIn, AtResponse* pOut) {
    return setting_set(kSettings[kSuplacap], pIn, pOut);
}
int32_t AT_GPS_ReadSuplACap(AtRequest* pIn, AtResponse* pOut) {
    return setting_query(kSettings[kSuplacap], pIn, pOut);
}
int32_t AT_GPS_TestSuplACap(AtRequest* pIn, AtResponse* pOut) {
    return setting_test(kSettings[kSuplacap], pIn, pOut);
}

int32_t AT_GPS_SetPortCfg(AtRequest* pIn, AtResponse* pOut) {
    return setting_set(kSettings[kWpport], pIn, pOut);
}
int32_t AT_GPS_ReadPortCfg(AtRequest* pIn, AtResponse* pOut) {
    return setting_query(kSettings[kWpport], pIn, pOut);
}
int32_t AT_GPS_TestPortCfg(AtRequest* pIn, AtResponse* pOut) {
    return setting_test(kSettings[kWpport], pIn, pOut);
}

int32_t AT_GPS_NiNotify(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, kSettings[kNiText].count)) {
        return TANDREL_FAIL;
    }
    const AtCmdParam& p = pIn->m_para_list[0];
    const std::string_view text = at_para_text(p);
    TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_NiNotify: nitext (%.*s)!\r\n",
                  static_cast<int>(text.size()), text.data());
    TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_NiNotify: nitext length (%d)!\r\n", p.usParaLen);
    // A length past the field would let the client read beyond it.
    const auto length =
        static_cast<int32_t>(p.usParaLen < sizeof p.aucPara ? p.usParaLen : sizeof p.aucPara);
    int32_t err = 0;
    if (gpsclient_send_nitext(p.aucPara, length, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

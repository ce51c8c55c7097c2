// Reference time and position injection: ^GNSSINJTIME, ^GNSSINJPOS and the two entry points of the
// GNSS control events.
#include <cmath>
#include <cstring>

#include "gnss_state.h"
#include "gps_at_handlers.h"
#include "gpsclient.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"
#include "text_convert.h"

namespace {

constexpr uint32_t kTimeChars = 22;
constexpr uint32_t kTimeParaLen = kTimeChars + 2;
constexpr uint32_t kTimeParams = 3;
constexpr uint32_t kCoordMaxChars = 11;
constexpr uint32_t kCoordMaxParaLen = kCoordMaxChars + 2;
constexpr uint32_t kLetterParaLen = 3;
constexpr uint32_t kPosParams = 5;

constexpr char kInvalid[] = "time params is invalid!\r\n";
constexpr char kQuotes[] = "quotes have error!\r\n";

// A parameter's text, whole and terminated, in out (false when it does not fit).
template <size_t N>
bool para_copy(const AtCmdParam& p, char (&out)[N]) {
    const std::string_view t = at_para_text(p);
    if (t.size() >= N) {
        return false;
    }
    memcpy(out, t.data(), t.size());
    out[t.size()] = '\0';
    return true;
}

// ddmm.mmmm (or dddmm.mmmm): degrees times 100 plus minutes, as decimal
// degrees. The whole degrees are the integer part divided by 100, truncated.
double degrees_of(double v) {
    const double d = std::trunc(std::trunc(v) / 100.0);
    return d + (v / 100.0 - d) / 0.6;
}

struct Axis {
    char positive;
    char negative;
    const char* number_trace;
    const char* letter_trace;
};
constexpr Axis kLatitude{'N', 'S', "change the number error!\r\n",
                         "the latitude_type have error!\r\n"};
constexpr Axis kLongitude{'E', 'W', "change number is error!\r\n",
                          "the longitude_type have error!\r\n"};

// One coordinate from its number and hemisphere-letter parameters; the trace
// of the first check that fails, or null.
const char* coordinate(const Axis& axis, const AtCmdParam& number, const AtCmdParam& letter,
                       double* out) {
    if (number.usParaLen > kCoordMaxParaLen) {
        return kInvalid;
    }
    char text[kCoordMaxChars + 1] = {};
    if (gps_quotes_out(number.aucPara, text, number.usParaLen) != 1) {
        return kQuotes;
    }
    // The hemisphere letter gives the sign.
    if (text[0] == '+' || text[0] == '-') {
        return "the num do not have the '+' and '-'!\r\n";
    }
    double v = 0;
    if (string_change_double_number(&v, text) != 1) {
        return axis.number_trace;
    }
    double value = degrees_of(v);
    if (letter.usParaLen != kLetterParaLen) {
        return kInvalid;
    }
    char h[2] = {};
    if (gps_quotes_out(letter.aucPara, h, letter.usParaLen) != 1) {
        return kQuotes;
    }
    if (h[0] == axis.negative) {
        value = 0.0 - value;
    } else if (h[0] != axis.positive) {
        return axis.letter_trace;
    }
    *out = value;
    return nullptr;
}

int32_t answer_client(int32_t ok, int32_t err, AtResponse* pOut) {
    if (ok == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

}  // namespace

int32_t AT_GPS_InjRefTime(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_para_count < kTimeParams) {
        return gnss_refuse(pOut, AT_RET_NO_HANDLER, "not enough params!\r\n");
    }
    if (pIn->m_para_count > kTimeParams) {
        return gnss_refuse(pOut, GPS_RET_PARAM_COUNT, "params number error!\r\n");
    }
    const AtCmdParam* para = pIn->m_para_list;
    TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_InjRefTime: time length is (%d)!\r\n",
                  para[0].usParaLen);
    if (para[0].usParaLen != kTimeParaLen) {
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE, kInvalid);
    }
    char time_text[kTimeChars + 1] = {};
    if (gps_quotes_out(para[0].aucPara, time_text, kTimeParaLen) != 1) {
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE, kQuotes);
    }
    GpsRefTimeInfo info;
    osa_memset_s(&info, sizeof info, 0, sizeof info);
    if (UTC_change_GPS_time(&info.time, time_text) != 1) {
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE, "change to GPS time is error!\r\n");
    }
    char number[32];
    if (!para_copy(para[1], number) || string_change_int64_number(&info.time_ref, number) != 1) {
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE, "change the int64 number is error!\r\n");
    }
    if (!para_copy(para[2], number) || string_change_int_number(&info.uncertainty, number) != 1) {
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE, "change the int number is error!\r\n");
    }
    int32_t err = 0;
    const int32_t ok = gpsclient_injRefTime(GPS_OP_SET, &info, &err);
    return answer_client(ok, err, pOut);
}

int32_t AT_GPS_InjRefLocInfo(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_para_count < kPosParams) {
        return gnss_refuse(pOut, AT_RET_NO_HANDLER, "not enough params!\r\n");
    }
    if (pIn->m_para_count > kPosParams) {
        return gnss_refuse(pOut, GPS_RET_PARAM_COUNT, "too many params!\r\n");
    }
    const AtCmdParam* para = pIn->m_para_list;
    GpsRefLocInfo info;
    osa_memset_s(&info, sizeof info, 0, sizeof info);
    const char* failed = coordinate(kLatitude, para[0], para[1], &info.latitude);
    if (failed == nullptr) {
        failed = coordinate(kLongitude, para[2], para[3], &info.longitude);
    }
    if (failed != nullptr) {
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE, failed);
    }
    char number[32];
    if (!para_copy(para[4], number) || string_change_float_number(&info.accuracy, number) != 1) {
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE, "change number is error!\r\n");
    }
    int32_t err = 0;
    const int32_t ok = gpsclient_injRefPos(GPS_OP_SET, &info, &err);
    return answer_client(ok, err, pOut);
}

int32_t AT_GPS_InjRefTime_ioctl(const char* time_text, const char* uncertainty_text) {
    if (time_text == nullptr || uncertainty_text == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_InjRefTime_ioctl: The param is NULL!\r\n");
        return TANDREL_FAIL;
    }
    GpsRefTimeInfo info;
    osa_memset_s(&info, sizeof info, 0, sizeof info);
    if (UTC_change_GPS_time(&info.time, time_text) != 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "AT_GPS_InjRefTime_ioctl: Change GPS UTC time failed!\r\n");
        return TANDREL_FAIL;
    }
    if (string_change_int_number(&info.uncertainty, uncertainty_text) != 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "AT_GPS_InjRefTime_ioctl: Change uncertainty to int failed!\r\n");
        return TANDREL_FAIL;
    }
    int32_t err = 0;
    if (gpsclient_injRefTime(GPS_OP_SET, &info, &err) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_InjRefTime_ioctl: InjRef time failed!\r\n");
        return TANDREL_FAIL;
    }
    TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_InjRefTime_ioctl: InjRef time success!\r\n");
    return TANDREL_OK;
}

int32_t AT_GPS_InjRefLocInfo_ioctl(const char* latitude, const char* longitude,
                                   const char* accuracy) {
    if (latitude == nullptr || longitude == nullptr || accuracy == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_InjRefLocInfo_ioctl: The param is NULL!\r\n");
        return TANDREL_FAIL;
    }
    // Decimal degrees with their sign, taken as they stand.
    GpsRefLocInfo info;
    osa_memset_s(&info, sizeof info, 0, sizeof info);
    if (string_change_double_number(&info.latitude, latitude) != 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_InjRefLocInfo_ioctl: Change latitude failed!\r\n");
        return TANDREL_FAIL;
    }
    if (string_change_double_number(&info.longitude, longitude) != 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "AT_GPS_InjRefLocInfo_ioctl: Change longitude failed!\r\n");
        return TANDREL_FAIL;
    }
    if (string_change_float_number(&info.accuracy, accuracy) != 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_InjRefLocInfo_ioctl: Change accuracy failed!\r\n");
        return TANDREL_FAIL;
    }
    int32_t err = 0;
    if (gpsclient_injRefPos(GPS_OP_SET, &info, &err) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_InjRefLocInfo_ioctl: InjRef position failed!\r\n");
        return TANDREL_FAIL;
    }
    TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_InjRefLocInfo_ioctl: InjRef position success!\r\n");
    return TANDREL_OK;
}

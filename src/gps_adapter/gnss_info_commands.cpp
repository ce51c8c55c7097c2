// Satellite, position and information commands (^GNSSCNO, ^NAVQUY, ^GNSSPOS, ^WPINFO) and the
// radio, NI-answer and customization commands (^WPCAP, ^WNICT, ^ZQCUST).
#include <cmath>
#include <cstring>

#include "gnss_state.h"
#include "gps_at_handlers.h"
#include "gpsclient.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"

namespace {

constexpr size_t kMaxListEntries = 32;

// ^GNSSCNO: the list call carries no error word, so the module's own GNSS
// error number stands for its failure.
constexpr int32_t kRetClientFailed = GPS_RET_BAD_VALUE;

// Starts a text built piece by piece.
void text_start(AtResponse* pOut) {
    pOut->m_buffer[0] = '\0';
    pOut->m_length = 0;
}

// A count the client reports, kept to the entries its record holds.
size_t list_count(int32_t count) {
    if (count <= 0) {
        return 0;
    }
    return static_cast<size_t>(count) < kMaxListEntries ? static_cast<size_t>(count)
                                                        : kMaxListEntries;
}

// A float printed as an integer, truncated toward zero. Values no int holds
// saturate and NaN prints 0, rather than leaving the conversion undefined.
int32_t truncate_to_int(float v) {
    if (std::isnan(v)) {
        return 0;
    }
    if (v >= 2147483648.0f) {
        return INT32_MAX;
    }
    if (v <= -2147483648.0f) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(v);
}

// A get of one value: "\r\n<name>: %d\r\n\r\nOK\r\n" or the mapped error.
int32_t read_one(AtRequest* pIn, AtResponse* pOut, const char* name,
                 int32_t (*call)(int32_t op, int32_t* value, int32_t* err)) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    int32_t value = 0;
    int32_t err = 0;
    if (call(GPS_OP_GET, &value, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_textf(pOut, "\r\n%s: %d\r\n\r\nOK\r\n", name, value);
    return TANDREL_OK;
}

}  // namespace

int32_t AT_GPS_GnssCno(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    GpsSvCnoList list;
    osa_memset_s(&list, sizeof list, 0, sizeof list);
    if (gpsclient_svscno_list(&list) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_GnssCno: get sv cno list failed!\r\n");
        at_set_error(pOut, kRetClientFailed);
        return TANDREL_FAIL;
    }
    text_start(pOut);
    const size_t n = list_count(list.count);
    char line[48];
    for (size_t i = 0; i < n; ++i) {
        // A satellite without a ratio is not listed.
        if (list.sv[i].cno == 0.0f) {
            continue;
        }
        new_snprintf_s(line, sizeof line, sizeof line - 1, "\r\n^GNSSCNO: %d,%d\r\n", list.sv[i].sv,
                       truncate_to_int(list.sv[i].cno));
        gnss_append(pOut, line);
    }
    gnss_append(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

// The numbers all come before the values; the text's last comma gives way to
// the final result.
int32_t AT_GPS_ReadNavQuy(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    GpsNavQuyInfo info;
    osa_memset_s(&info, sizeof info, 0, sizeof info);
    int32_t err = 0;
    if (gpsclient_NAVQUY(GPS_OP_GET, &info, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    text_start(pOut);
    char piece[40];
    new_snprintf_s(piece, sizeof piece, sizeof piece - 1, "\r\n^NAVQUY: %d,%d,", info.lead,
                   info.count);
    gnss_append(pOut, piece);
    const size_t n = list_count(info.count);
    for (size_t i = 0; i < n; ++i) {
        new_snprintf_s(piece, sizeof piece, sizeof piece - 1, "%d,", info.item[i].number);
        gnss_append(pOut, piece);
    }
    for (size_t i = 0; i < n; ++i) {
        new_snprintf_s(piece, sizeof piece, sizeof piece - 1, "%d,",
                       truncate_to_int(info.item[i].value));
        gnss_append(pOut, piece);
    }
    // The header always ends in a comma, so there is one to replace.
    char* last = strrchr(pOut->m_buffer, ',');
    if (last != nullptr) {
        *last = '\0';
        pOut->m_length = static_cast<uint32_t>(last - pOut->m_buffer);
    }
    gnss_append(pOut, "\r\n\r\nOK\r\n");
    return TANDREL_OK;
}

int32_t At_GPS_ReadGnssPos(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    GpsPositionInfo pos;
    osa_memset_s(&pos, sizeof pos, 0, sizeof pos);
    int32_t err = 0;
    if (gpsclient_GnssPosition(GPS_OP_GET, &pos, &err) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "At_GPS_ReadGnssPos: Function execute failed!\r\n");
        return gnss_client_failed(pOut, err);
    }
    if (pos.latitude == 0.0 && pos.longitude == 0.0 && pos.altitude == 0.0) {
        // No position yet.
        at_set_textf(pOut, "\r\n^GNSSPOS: %d, %d, %d\r\n\r\nOK\r\n", 0, 0, 0);
    } else {
        // The d, d and m after the values are literal letters.
        at_set_textf(pOut, "\r\n^GNSSPOS: %lfd, %lfd, %1fm\r\n\r\nOK\r\n", pos.latitude,
                     pos.longitude, pos.altitude);
    }
    return TANDREL_OK;
}

int32_t AT_GPS_SetWpcap(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, {1, 1})) {
        return TANDREL_FAIL;
    }
    // The radio is switched as asked: no range check, and the users' fixes
    // are left alone.
    int32_t state = gnss_value(pIn, 0);
    TANDREL_TRACE(TRACE_LEVEL_INFO, "ulParaValue's value is %d!\r\n", state);
    int32_t err = 0;
    if (gpsclient_WPCAP(GPS_OP_SET, &state, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

int32_t AT_GPS_ReadWpcap(AtRequest* pIn, AtResponse* pOut) {
    return read_one(pIn, pOut, "^WPCAP", gpsclient_WPCAP);
}

int32_t AT_GPS_TestWpcap(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    at_set_text(pOut, "\r\n^WPCAP: (0,3)\r\n\r\nOK\r\n");
    return TANDREL_OK;
}

int32_t AT_GPS_ReadWpinfo(AtRequest* pIn, AtResponse* pOut) {
    return read_one(pIn, pOut, "^WPINFO", gpsclient_WPINFO);
}

// Without a request id the answer goes to the last network-initiated request.
int32_t AT_GPS_SetWnict(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, {1, 2})) {
        return TANDREL_FAIL;
    }
    int32_t allow = gnss_value(pIn, 0);
    int32_t req_id = pIn->m_para_count == 2 ? gnss_value(pIn, 1) : gnss_get(GnssValue::NiReqId);
    int32_t err = 0;
    if (gpsclient_WNICT(GPS_OP_SET, &allow, &req_id, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

int32_t AT_GPS_TestWnict(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    at_set_text(pOut, "\r\n^WNICT: (0-1),(0-65535)\r\n\r\nOK\r\n");
    return TANDREL_OK;
}

// The function number is checked and traced; the client takes the operation
// value only.
int32_t AT_GPS_SetZqcust(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, {2, 2})) {
        return TANDREL_FAIL;
    }
    if (pIn->m_para_list[0].aucPara[0] == '\0' || pIn->m_para_list[1].aucPara[0] == '\0') {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "invalid param since some of them is null!\r\n");
        at_set_error(pOut, GPS_RET_BAD_VALUE);
        return TANDREL_FAIL;
    }
    const int32_t func = gnss_value(pIn, 0);
    int32_t operation = gnss_value(pIn, 1);
    TANDREL_TRACE(TRACE_LEVEL_INFO, "func is (%d), operation is (%d)!\r\n", func, operation);
    int32_t err = 0;
    if (gpsclient_ZQCUST(GPS_OP_SET, &operation, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

// The function number answered is the request's first value: 0 for a plain
// query, which carries none.
int32_t AT_GPS_ReadZqcust(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    int32_t operation = 0;
    int32_t err = 0;
    if (gpsclient_ZQCUST(GPS_OP_GET, &operation, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_textf(pOut, "\r\n^ZQCUST: %d,%d\r\n\r\nOK\r\n", gnss_value(pIn, 0), operation);
    return TANDREL_OK;
}

int32_t AT_GPS_TestZqcust(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    at_set_text(pOut, "\r\n^ZQCUST: 0,(0,1)\r\n\r\nOK\r\n");
    return TANDREL_OK;
}

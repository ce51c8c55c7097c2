// GNSS client callbacks: NMEA routing, ^POSEND, NI requests, capabilities, $GPERR.
#include "gnss_reports.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

#include "gnss_state.h"
#include "gpsclient.h"
#include "module_info.h"
#include "osa.h"
#include "osa_buffer.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"

namespace {

constexpr char kZqlocName[] = "$GPZQLOC";
constexpr size_t kZqlocNameLen = sizeof kZqlocName - 1;
constexpr size_t kReportBuf = 256;    // ^POSEND and ^WNINV
constexpr size_t kSentenceBuf = 255;  // $GPNIR, $GPCAP, $GPCHP
constexpr size_t kErrBuf = 25;        // $GPERR
constexpr uint32_t kVersionBuf = 66;  // AT_Cgmr output; the text starts at byte 2
constexpr size_t kVersionTextAt = 2;

// The position extension only feeds the fix sentences and is never
// forwarded, whatever length it is handed with. strncmp stops at the text's
// NUL, so a shorter text is never read past its end.
bool is_zqloc(const char* text) {
    return strncmp(text, kZqlocName, kZqlocNameLen) == 0;
}

// NMEA reports: the port is chosen when each is sent.
constexpr ReportTo kNmeaReport{PCUI, GNSS_REPORT_ID_NMEA, GNSS_REPORT_PROTOCOL};

// A 32-bit word of a client record, read without assuming its alignment.
int32_t word_at(const void* record, size_t index) {
    int32_t w = 0;
    memcpy(&w, static_cast<const char*>(record) + 4 * index, sizeof w);
    return w;
}

// Request types of an NI record and what "$GPNIR" calls them.
int32_t ni_type_of(int32_t req_type) {
    static constexpr int32_t kTypes[] = {3, 2, 1, 4, 5};
    if (req_type < 0 || static_cast<size_t>(req_type) >= std::size(kTypes)) {
        return -1;
    }
    return kTypes[req_type];
}

}  // namespace

extern "C" void AT_nmea_cb(int64_t timestamp, const char* text, int32_t length) {
    gps_get_portcfg();
    if (text == nullptr) {
        return;
    }
    // The record is taken before any other work on the sentence.
    AtReport report(kNmeaReport, TANDREL_TAG, "failed to malloc!\r\n");
    if (!report) {
        return;
    }
    if (gnss_get(GnssValue::FixsionFlag) == 1) {
        GNSS_IOCTRL_Getfixdata(timestamp, text, length);
        AT_gnss_nmea_port_cb(timestamp, text, length);
        if (gnss_get(GnssValue::NmealoggingFlag) == 0) {
            TANDREL_TRACE(TRACE_LEVEL_DEBUG, "AT_nmea_cb GNSS opened,no NMEA logging \r\n");
            return;
        }
    }
    if (is_zqloc(text)) {
        return;
    }
    // An empty sentence (length 0 or less) still goes out, as an empty report.
    const std::string_view sentence(text, gnss_text_length(text, length, GNSS_REPORT_TEXT_MAX));
    if (gnss_get(GnssValue::NmeaPortFlag) == 1) {
        report.send_to(gps_report_port(NMEA_PORT), sentence);
    }
    if (gnss_get(GnssValue::GnssPortFlag) == 1) {
        report.send_to(gps_report_port(GNSS_PORT), sentence);
    }
}

void AT_gnss_nmea_port_cb(int64_t /*timestamp*/, const char* text, int32_t /*length*/) {
    if (text == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_gnss_nmea_port_cb NMEA is NULL!\r\n");
        return;
    }
    if (is_zqloc(text)) {
        return;
    }
    AtReport report(kNmeaReport, TANDREL_TAG, "AT_gnss_nmea_port_cb failed to malloc!\r\n");
    if (!report) {
        return;
    }
    // The copy carries the whole sentence, whatever length it was handed
    // with, and always goes to the NMEA port itself, whatever the port
    // configuration says.
    if (gnss_get(GnssValue::NmeaPortFlag) == 1) {
        report.send_to(NMEA_PORT, {text, strnlen(text, GNSS_REPORT_TEXT_MAX)});
    }
}

void GNSS_IOCTRL_ReportErr(const char* tag, int32_t code) {
    if (tag == nullptr) {
        return;
    }
    const bool known = code == GPS_ERR_GENERIC || (code >= 276 && code <= 279) ||
                       (code >= 281 && code <= 285) || code == 287;
    char text[kErrBuf] = {};
    new_snprintf_s(text, sizeof text, sizeof text - 1, "\r\n$GPERR,%s,%d,* \r\n", tag,
                   known ? code : GPS_ERR_GENERIC);
    AT_nmea_cb(0, text, static_cast<int32_t>(strlen(text)));
}

int32_t GNSS_IOCTRL_GetInfo(const char* vid, const char* pid) {
    if (vid == nullptr || pid == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return -1;
    }
    OsaBuffer version(kVersionBuf);
    if (!version) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "\r\n GNSS_IOCTRL_GetInfo osa_malloc  StAmssVersion  fail\r\n");
        return -1;
    }
    GpsAgnssCfg cfg{};
    int32_t err = 0;
    const int32_t supl_ver =
        gpsclient_AGNSSCFG(GPS_OP_GET, &cfg, &err) == 1 && cfg.supl_ver == 2 ? 2 : 1;
    char text[kSentenceBuf] = {};
    new_snprintf_s(text, sizeof text, sizeof text - 1,
                   "$GPCAP,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,*  \r\n", 0, 0, 1, 4, 0, 0, 1,
                   0, 0, 0, 0, 1, supl_ver, 0);
    AT_Gnss_info_send(text, static_cast<int32_t>(sizeof text));

    char* v = version.as<char>();
    if (AT_Cgmr(v) != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "GNSS_IOCTRL_GetInfo get softversion fail \r\n");
    }
    new_snprintf_s(text, sizeof text, sizeof text - 1, "$GPCHP,%.4s,%.4s,%.19s,*  \r\n", vid, pid,
                   v + kVersionTextAt);
    AT_Gnss_info_send(text, static_cast<int32_t>(sizeof text));
    return 0;
}

extern "C" void AT_status_cb(void* status) {
    gps_get_portcfg();
    if (gnss_get(GnssValue::PosendFlag) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_status_cb: no need to report POSEND!\r\n");
        return;
    }
    if (status == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null input param!\r\n");
        return;
    }
    // Word 3 counts from 1 on the client's side; wrapping keeps the
    // arithmetic defined for any value it sends.
    const auto state = static_cast<int32_t>(static_cast<uint32_t>(word_at(status, 3)) - 1u);
    char text[kReportBuf] = {};
    new_snprintf_s(text, sizeof text, sizeof text - 1, "\r\n^POSEND: %d,%d\r\n", state,
                   word_at(status, 2));
    gnss_send_report(text, strlen(text), gps_report_port(PCUI), GNSS_REPORT_ID_POSEND);
}

extern "C" void AT_nipara_cb(void* ni_record) {
    gps_get_portcfg();
    if (ni_record == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null input param!\r\n");
        return;
    }
    GpsNiRecord ni;
    memcpy(&ni, ni_record, sizeof ni);
    const int32_t type = ni_type_of(ni.req_type);
    if (type < 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null req_type ~\r\n");
        return;
    }
    char text[kReportBuf] = {};
    new_snprintf_s(text, kSentenceBuf, kSentenceBuf - 1, "$GPNIR,%d,%d,%d,%d,%d,*  \r\n", ni.req_id,
                   1, type, 1, gnss_get(GnssValue::NiTimer));
    AT_nmea_cb(0, text, static_cast<int32_t>(kSentenceBuf));

    // A long notification text is cut so that the report keeps its request
    // id and its closing CR LF.
    const int frame = snprintf(nullptr, 0, "\r\n^WNINV: %d,%d,%d,,,,,,,,,%d\r\n", ni.req_type,
                               ni.word1, ni.word2, ni.req_id);
    const int room = static_cast<int>(sizeof text) - 1 - frame;
    const int text_len = static_cast<int>(strnlen(ni.text, sizeof ni.text));
    new_snprintf_s(text, sizeof text, sizeof text - 1, "\r\n^WNINV: %d,%d,%d,%.*s,,,,,,,,%d\r\n",
                   ni.req_type, ni.word1, ni.word2, text_len < room ? text_len : room, ni.text,
                   ni.req_id);
    gnss_set(GnssValue::NiReqId, ni.req_id);
    gnss_send_report(text, strlen(text), gps_report_port(PCUI), GNSS_REPORT_ID_WNINV);
}

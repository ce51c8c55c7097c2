// GNSS adapter state and the helpers every GNSS file shares, GNSS-side report senders among them.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

#include "tandrel_core.h"

// Holds a mutex for its scope. A pthread mutex, not std::mutex: the standard
// lock throws on failure, which would link the exception runtime into the
// daemon for two locks.
class GnssLock {
  public:
    explicit GnssLock(pthread_mutex_t& m) : m_(m) { (void)pthread_mutex_lock(&m_); }
    ~GnssLock() { (void)pthread_mutex_unlock(&m_); }
    GnssLock(const GnssLock&) = delete;
    GnssLock& operator=(const GnssLock&) = delete;

  private:
    pthread_mutex_t& m_;
};

// Report addressing.
inline constexpr uint32_t GNSS_SINGLE_PORT = 6;  // every GNSS output when g_PortCfg is 1
inline constexpr uint32_t GNSS_PORT = 54;
inline constexpr uint32_t NMEA_PORT = 55;
inline constexpr uint32_t GNSS_REPORT_ID_NMEA = 58;
inline constexpr uint32_t GNSS_REPORT_ID_POSEND = 20;
inline constexpr uint32_t GNSS_REPORT_ID_WNINV = 19;
inline constexpr uint32_t GNSS_REPORT_PROTOCOL = 1;

// Results the GNSS handlers set themselves.
inline constexpr int32_t GPS_RET_RADIO_OFF = 88;
inline constexpr int32_t GPS_RET_SUPL_CLOSED = 90;
inline constexpr int32_t GPS_RET_BAD_VALUE = 92;
inline constexpr int32_t GPS_RET_PARAM_COUNT = 96;

// GNSS client result codes the adapter produces itself.
inline constexpr int32_t GPS_ERR_GENERIC = 4;
inline constexpr int32_t GPS_ERR_BAD_PARAM = 281;
inline constexpr int32_t GPS_ERR_ALREADY_STARTED = 283;
inline constexpr int32_t GPS_ERR_ALREADY_STOPPED = 284;

// The adapter's values, kept file-static in gnss_state.cpp under the names in
// the comments. Written on the message-loop thread and read by the GNSS
// client's callbacks on the client's own thread, hence kept atomic there.
enum class GnssValue : uint8_t {
    PortCfg,          // g_PortCfg: 1 = GNSS output on port 6
    PortCfgReady,     // g_PortCfgReady: 1 once g_PortCfg is known
    GnssPortFlag,     // g_gnssPortFlag: the GNSS port wants fixes
    NmeaPortFlag,     // g_nmeaPortFlag: the NMEA port wants fixes
    FixsionFlag,      // g_fixsionFlag: a control-event fix session is open
    NmealoggingFlag,  // g_nmealoggingFlag: NMEA text also logged during a fix session
    NiTimer,          // g_NiTimer: NI timer 0..255 last set
    NiReqId,          // g_NiReqId: id of the last NI request
    PosendFlag,       // g_posendFlag: report ^POSEND from the status callback
};
int32_t gnss_get(GnssValue value);
void gnss_set(GnssValue value, int32_t v);

// Reads the port configuration from the GNSS client the first time a report
// needs it (one retry after 100 ms); returns 1.
int32_t gps_get_portcfg(void);
// Stores a port configuration that ^WPPORT has set; it is never read from the
// client afterwards.
void gps_set_portcfg(int32_t value);
// The port of the reports that go to the GNSS side (GNSS port or PCUI when
// split) under the current configuration.
uint32_t gps_report_port(uint32_t split_port);
// GNSS client result code -> m_retenum (276..287 mapped, anything else 20).
int32_t gps_errcode_to_retenum(uint32_t code);
// m_retenum for a failed GNSS client call.
inline int32_t gps_err_retenum(int32_t err) {
    return gps_errcode_to_retenum(static_cast<uint32_t>(err));
}

// True, traced, when a handler was called without its request or response.
bool gnss_null_params(const AtRequest* pIn, const AtResponse* pOut);

// A failed client call: m_retenum from the client's error word, and the
// handler's result 0 (the request was served).
int32_t gnss_client_failed(AtResponse* pOut, int32_t err);

// Answers the error retenum, tracing trace first when there is one.
int32_t gnss_refuse(AtResponse* pOut, int32_t retenum, const char* trace = nullptr);

inline constexpr char GNSS_TRACE_NOT_ENOUGH[] = "not enough params!\r\n";
inline constexpr char GNSS_TRACE_TOO_MANY[] = "too many params!\r\n";

// Parameter-count rule of a set operation: fewer than min parameters, or
// more than max, are refused with their result and trace (none traced when
// the trace is null).
struct GnssCountRule {
    uint32_t min;
    uint32_t max;
    int32_t none_ret = AT_RET_NO_HANDLER;
    const char* none_trace = GNSS_TRACE_NOT_ENOUGH;
    int32_t over_ret = GPS_RET_PARAM_COUNT;
    const char* over_trace = GNSS_TRACE_TOO_MANY;
};
// True when the request's count keeps the rule; otherwise refused.
bool gnss_count_ok(const AtRequest* pIn, AtResponse* pOut, const GnssCountRule& rule);

// The numeric value of parameter i, as the handlers use it.
inline int32_t gnss_value(const AtRequest* pIn, size_t i) {
    return static_cast<int32_t>(pIn->m_para_list[i].ulParaValue);
}

// Appends a piece to the response's text, bounded by m_buffer, m_length in
// step.
void gnss_append(AtResponse* pOut, const char* piece);

// Traces of a radio-gated test answer: the radio could not be read, the
// radio is off (each may be null).
struct GnssRadioTraces {
    const char* read_failed = nullptr;
    const char* off = nullptr;
};
// A test operation answers "\r\n<name>: <ranges>\r\n\r\nOK\r\n" only while
// the GNSS radio is not off (then 88); a failed radio read answers the
// client's error.
int32_t gnss_radio_test(AtRequest* pIn, AtResponse* pOut, const char* name, const char* ranges,
                        GnssRadioTraces traces = {});

// Longest text a report carries (m_buffer less its NUL).
inline constexpr size_t GNSS_REPORT_TEXT_MAX = 10203;
// Length of a sentence handed over with a length: the smaller of its strlen
// and length, never reading past length or cap characters. A length of 0 or
// less gives 0.
size_t gnss_text_length(const char* text, int32_t length, size_t cap);
// One report of len characters of text on a port, with the GNSS protocol word.
void gnss_send_report(const char* text, size_t len, uint32_t port, uint32_t id);
// Sends one fix sentence to the GNSS side.
void AT_Gnss_nmea_cb(int64_t timestamp, const char* text, int32_t length);
// Sends "$GPCAP" or "$GPCHP" to the GNSS side.
void AT_Gnss_info_send(const char* text, int32_t length);

// Puts the adapter state here back to its start values.
void gnss_state_reset(void);
// Puts the whole adapter back to its start: the state here, then the fix and
// DOP caches. Made by the fix-sentence builder, which sits above this state,
// so that the state never calls up into the files that use it.
void gnss_adapter_reset(void);

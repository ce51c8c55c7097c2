// GNSS adapter state shared by the commands, the control operations and the client callbacks.
#pragma once

#include <atomic>
#include <cstdint>

#include "tandrel_core.h"

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

// The state below is written on the message-loop thread and read by the GNSS
// client's callbacks on the client's own thread, hence atomic.
extern std::atomic<int32_t> g_PortCfg;          // 1 = GNSS output on port 6
extern std::atomic<int32_t> g_PortCfgReady;     // 1 once g_PortCfg is known
extern std::atomic<int32_t> g_gnssPortFlag;     // the GNSS port wants fixes
extern std::atomic<int32_t> g_nmeaPortFlag;     // the NMEA port wants fixes
extern std::atomic<int32_t> g_fixsionFlag;      // a control-event fix session is open
extern std::atomic<int32_t> g_nmealoggingFlag;  // NMEA text also logged during a fix session
extern std::atomic<int32_t> g_NiTimer;          // NI timer 0..255 last set
extern std::atomic<int32_t> g_NiReqId;          // id of the last NI request
extern std::atomic<int32_t> g_posendFlag;       // report ^POSEND from the status callback

// Reads the port configuration from the GNSS client the first time a report
// needs it (one retry after 100 ms); returns 1.
int32_t gps_get_portcfg(void);
// Stores a port configuration that ^WPPORT has set; it is never read from the
// client afterwards.
void gps_set_portcfg(int32_t value);
// The port of the reports that go to the GNSS side (GNSS port or PCUI when
// split) under the current configuration.
inline uint32_t gps_report_port(uint32_t split_port) {
    return g_PortCfg.load() == 1 ? GNSS_SINGLE_PORT : split_port;
}
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

// Puts the adapter state, fix cache and DOP cache back to their start values.
void gnss_adapter_reset(void);
// Clears the fix and DOP caches (gnss_fix_sentences.cpp).
void gnss_fix_caches_reset(void);

// GNSS client service: the callbacks it calls and the calls the GNSS adapter makes.
#pragma once

#include <cstddef>
#include <cstdint>

// Call convention of every gpsclient_ call below:
//  - the result is non-zero on success and 0 on failure;
//  - calls with an operation code take GPS_OP_SET (write the values pointed
//    to) or GPS_OP_GET (fill them);
//  - values are 32-bit integers passed by pointer, followed by a pointer to a
//    32-bit error word that the service fills on failure (codes 276..287).
//    The adapter sets every value and error word to 0 before a call, so a
//    failed get leaves 0.
inline constexpr int32_t GPS_OP_SET = 1;
inline constexpr int32_t GPS_OP_GET = 2;

// Radio state as gpsclient_WPCAP reads and writes it.
inline constexpr int32_t GPS_RADIO_OFF = 0;
inline constexpr int32_t GPS_RADIO_ON = 3;

extern "C" {

// The AGNSS configuration exchanged with gpsclient_AGNSSCFG.
struct GpsAgnssCfg {
    uint32_t asystem;
    uint32_t transport_mode;
    uint32_t supl_ver;
    uint32_t sec_mode;
};

// A network-initiated request as the client hands it to the NI callback.
struct GpsNiRecord {
    int32_t req_type;  // 0..4
    int32_t word1;
    int32_t word2;
    char text[1292];  // NUL-terminated within the field when the client is well behaved
    int32_t req_id;
};

// The three callbacks handed to the GNSS client at start, in this order.
// The status record is a run of 32-bit words; the adapter reads words 2 and 3.
typedef void (*GpsStatusCallback)(void* status);
typedef void (*GpsNmeaCallback)(int64_t timestamp, const char* text, int32_t length);
typedef void (*GpsNiParaCallback)(void* ni_record);

struct GpsClientCallbacks {
    GpsStatusCallback status_cb;
    GpsNmeaCallback nmea_cb;
    GpsNiParaCallback nipara_cb;
};

// Starts the GNSS client with the adapter's callbacks.
int32_t gpsclient_init(GpsClientCallbacks* callbacks);

// Positioning engine. err may be null.
int32_t gpsclient_startFix(int32_t* err);
int32_t gpsclient_stopFix(int32_t* err);

// Output port configuration: 1 = every GNSS output on one port.
int32_t gpsclient_portCfg(int32_t op, int32_t* value, int32_t* err);
// Radio state (GPS_RADIO_OFF / GPS_RADIO_ON).
int32_t gpsclient_WPCAP(int32_t op, int32_t* state, int32_t* err);
int32_t gpsclient_sessionType(int32_t op, int32_t* type, int32_t* err);
// Number of fixes and interval; count says how many of the two values are
// meant on a set (1 = times only, 2 = both); 0 on a get.
int32_t gpsclient_freqAndInterval(int32_t op, int32_t* times, int32_t* interval, int32_t* err,
                                  int32_t count);
int32_t gpsclient_operateMode(int32_t op, int32_t* mode, int32_t* err);
// Answer to a network-initiated request.
int32_t gpsclient_WNICT(int32_t op, int32_t* allow, int32_t* req_id, int32_t* err);
// Network-initiated request timer; no error word.
int32_t gpsclient_SET_NITIMER(int32_t* value);
// Aiding-data deletion and engine reset.
int32_t gpsclient_aidingData(int32_t op, int32_t* value, int32_t* err);
// SUPL server address: on a set, length characters of address; on a get the
// client fills address (129 bytes) and length is 0.
int32_t gpsclient_WPURL(int32_t op, char* address, int32_t length, int32_t* err);
int32_t gpsclient_AGNSSCFG(int32_t op, GpsAgnssCfg* cfg, int32_t* err);
int32_t gpsclient_locks(int32_t op, int32_t* value, int32_t* err);
int32_t gpsclient_anyData(int32_t op, int32_t* value, int32_t* err);
// Low-power mode.
int32_t gpsclient_WPLPM(int32_t op, int32_t* mode, int32_t* err);
int32_t gpsclient_SuplAutonomousCapable(int32_t op, int32_t* value, int32_t* err);
// SUPL feature lock: 1 = SUPL closed.
int32_t gpsclient_suplfeature(int32_t op, int32_t* value, int32_t* err);
// Network-initiated notification text (length characters of text).
int32_t gpsclient_send_nitext(const char* text, int32_t length, int32_t* err);

// Assistance configuration and aiding data.

// One chunk of the TLS certificate (set), or the whole certificate (get).
struct GpsTlsCfg {
    uint32_t tls_len;  // characters of the whole certificate, 0..3000
    uint32_t index;    // set: number of this chunk, from 1; get: chunks held, at most 10
    char data[3000];   // set: this chunk's text; get: the whole text
    uint16_t length;   // characters in data
};
// One chunk of a configuration document upload, base64-decoded.
struct GpsXmlDataChunk {
    int32_t total;      // chunks in the whole upload
    int32_t index;      // number of this chunk, 1..total
    uint8_t data[513];  // at most 384 bytes, zero after them
};
// One chunk of an LTO aiding-data upload, converted from hexadecimal.
struct GpsLtoDataChunk {
    int32_t total;
    int32_t index;
    uint8_t data[513];  // at most 256 bytes, zero after them
    int32_t length;     // valid bytes in data
};
// Reference time to inject.
struct GpsRefTimeInfo {
    int64_t time;         // milliseconds since the GPS epoch (UTC_change_GPS_time)
    int64_t time_ref;     // reference counter the host sent with it; 0 from a control event
    int32_t uncertainty;  // as the host sent it
};
// Reference position to inject.
struct GpsRefLocInfo {
    double latitude;   // decimal degrees, north positive
    double longitude;  // decimal degrees, east positive
    float accuracy;    // as the host sent it
};

int32_t gpsclient_TLSCFG(int32_t op, GpsTlsCfg* cfg, int32_t* err);
// LTO and reference-time-injection feature locks: 1 = locked.
int32_t gpsclient_ltofeature(int32_t op, int32_t* value, int32_t* err);
int32_t gpsclient_injRefTimeFeature(int32_t op, int32_t* value, int32_t* err);
// The chunk is handed over for the length of the call; assembling the chunks
// of an upload is the client's.
int32_t gpsclient_xmldata(int32_t op, GpsXmlDataChunk* chunk, int32_t* err);
int32_t gpsclient_LTOdata(int32_t op, GpsLtoDataChunk* chunk, int32_t* err);
int32_t gpsclient_injRefTime(int32_t op, GpsRefTimeInfo* info, int32_t* err);
int32_t gpsclient_injRefPos(int32_t op, GpsRefLocInfo* info, int32_t* err);
}

static_assert(sizeof(GpsAgnssCfg) == 16);
static_assert(offsetof(GpsAgnssCfg, asystem) == 0);
static_assert(offsetof(GpsAgnssCfg, transport_mode) == 4);
static_assert(offsetof(GpsAgnssCfg, supl_ver) == 8);
static_assert(offsetof(GpsAgnssCfg, sec_mode) == 12);
static_assert(offsetof(GpsNiRecord, word2) == 8);
static_assert(offsetof(GpsNiRecord, text) == 12);
static_assert(offsetof(GpsNiRecord, req_id) == 1304);
static_assert(sizeof(GpsNiRecord) == 1308);

// The client reads these records as laid out on the module (little-endian,
// natural alignment); the padding is zero-filled by the adapter.
static_assert(sizeof(GpsTlsCfg) == 3012);
static_assert(offsetof(GpsTlsCfg, index) == 4);
static_assert(offsetof(GpsTlsCfg, data) == 8);
static_assert(offsetof(GpsTlsCfg, length) == 3008);
static_assert(sizeof(GpsXmlDataChunk) == 524);
static_assert(offsetof(GpsXmlDataChunk, index) == 4);
static_assert(offsetof(GpsXmlDataChunk, data) == 8);
static_assert(sizeof(GpsLtoDataChunk) == 528);
static_assert(offsetof(GpsLtoDataChunk, data) == 8);
static_assert(offsetof(GpsLtoDataChunk, length) == 524);
static_assert(sizeof(GpsRefTimeInfo) == 24);
static_assert(offsetof(GpsRefTimeInfo, time_ref) == 8);
static_assert(offsetof(GpsRefTimeInfo, uncertainty) == 16);
static_assert(sizeof(GpsRefLocInfo) == 24);
static_assert(offsetof(GpsRefLocInfo, longitude) == 8);
static_assert(offsetof(GpsRefLocInfo, accuracy) == 16);

// Navigation receiver test and the satellite, position and information
// queries.
extern "C" {

// Carrier-to-noise ratio per satellite in view (at most 32 entries).
struct GpsSvCno {
    int32_t sv;   // satellite number
    float cno;    // carrier-to-noise ratio
};
struct GpsSvCnoList {
    int32_t count;
    GpsSvCno sv[32];
};

// The values the navigation query reports: a leading value and count pairs
// of a number and a value (at most 32).
struct GpsNavQuyItem {
    int32_t number;
    float value;
};
struct GpsNavQuyInfo {
    uint8_t reserved[12];  // the client's own
    int32_t lead;
    int32_t count;
    GpsNavQuyItem item[32];
};

// The last position: degrees, degrees and metres; all 0.0 when there is none.
struct GpsPositionInfo {
    uint8_t reserved[16];  // the client's own
    double latitude;
    double longitude;
    double altitude;
};

// Receiver test: the navigation system (1 GPS, 2 GLONASS) and the test
// carrier as MHz, kHz and Hz. No operation code, no error word.
int32_t gpsclient_set_type(int32_t nav_type, int32_t mhz, int32_t khz, int32_t hz);
// Carrier-to-noise measurement of the running test fix; blocks until the
// measurement is taken.
int32_t gpsclient_qry_cn(int32_t* cn);
// No operation code, no error word.
int32_t gpsclient_svscno_list(GpsSvCnoList* list);
int32_t gpsclient_NAVQUY(int32_t op, GpsNavQuyInfo* info, int32_t* err);
int32_t gpsclient_GnssPosition(int32_t op, GpsPositionInfo* pos, int32_t* err);
int32_t gpsclient_WPINFO(int32_t op, int32_t* value, int32_t* err);
// Customization switch: the operation value (0 or 1).
int32_t gpsclient_ZQCUST(int32_t op, int32_t* value, int32_t* err);
}

static_assert(sizeof(GpsSvCnoList) == 260);
static_assert(offsetof(GpsSvCnoList, sv) == 4);
static_assert(offsetof(GpsSvCnoList, sv[1].cno) == 16);
static_assert(sizeof(GpsNavQuyInfo) == 276);
static_assert(offsetof(GpsNavQuyInfo, lead) == 12);
static_assert(offsetof(GpsNavQuyInfo, count) == 16);
static_assert(offsetof(GpsNavQuyInfo, item) == 20);
static_assert(offsetof(GpsNavQuyInfo, item[1].value) == 32);
static_assert(sizeof(GpsPositionInfo) == 40);
static_assert(offsetof(GpsPositionInfo, latitude) == 16);
static_assert(offsetof(GpsPositionInfo, longitude) == 24);
static_assert(offsetof(GpsPositionInfo, altitude) == 32);

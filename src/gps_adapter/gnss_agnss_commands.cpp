// Assisted-GNSS configuration commands: ^WPURL, ^WPTLS, ^AGNSSCFG, ^AGPSTYPECFG and ^SUPLMODE (kept
// in NV item 58), and the lock commands ^SUPLOCK, ^LTOLOCK and ^INJTIMELOCK.
#include <cstring>

#include "gnss_state.h"
#include "gps_at_handlers.h"
#include "gpsclient.h"
#include "nv_item.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"
#include "text_convert.h"

// The image of NV item 58: byte 0 the A-GNSS type, byte 1 the SUPL mode, the
// rest written back as read. Read afresh by every command that uses it.
uint8_t g_AgpsTypeCfgNv[NV_ITEM_GPS_AGPSTYPECFG_SIZE];

namespace {

constexpr uint32_t kServerAddrMax = 128;
constexpr uint32_t kTlsChunk = 300;
constexpr uint32_t kTlsMaxChunks = sizeof(GpsTlsCfg::data) / kTlsChunk;

// Results this file chooses where the failure has no answer of its own: an
// NV item that cannot be read or written is the module's fault (generic
// error); a value the command cannot take is a parameter error.
constexpr int32_t kRetNvFailed = AT_RET_NO_HANDLER;
constexpr int32_t kRetBadValue = GPS_RET_BAD_VALUE;

// Byte codes of item 58.
constexpr size_t kNvTypeByte = 0;
constexpr size_t kNvSuplModeByte = 1;
constexpr uint8_t kNvType4 = 0;      // type 4 is stored as 0, so a fresh item reads type 4
constexpr uint8_t kNvSuplMode2 = 0;  // mode 2 is stored as 0, so a fresh item reads mode 2
constexpr int32_t kOpModeOfSuplMode2 = 5;

// "\r\n^NAME: <value>\r\n\r\nOK\r\n".
void answer_value(AtResponse* pOut, const char* name, int32_t value) {
    at_set_textf(pOut, "\r\n%s: %d\r\n\r\nOK\r\n", name, value);
}

bool nv_read(const char* fail_trace) {
    if (NV_Read(NV_Item_GPS_AGPSTYPECFG, g_AgpsTypeCfgNv, sizeof g_AgpsTypeCfgNv) != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s", fail_trace);
        return false;
    }
    return true;
}

bool nv_write() {
    if (NV_Write(NV_Item_GPS_AGPSTYPECFG, g_AgpsTypeCfgNv, sizeof g_AgpsTypeCfgNv) != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "NV write NV_Item_GPS_AGPSTYPECFG fail \r\n");
        return false;
    }
    return true;
}

constexpr char kNvReadFailSet[] = "NV READ NV_Item_GPS_AGPSTYPECFG fail \r\n";
constexpr char kNvReadFailQuery[] = "NV_Read NV_Item_GPS_AGPSTYPECFG fail \r\n";

// What each A-GNSS type sets: SUPL lock, LTO lock, whether the operating mode
// follows the SUPL mode (else 0), and the byte stored for it.
struct AgnssType {
    int32_t supl_lock;
    int32_t lto_lock;
    bool mode_from_supl;
    uint8_t nv_code;
};
constexpr AgnssType kAgnssTypes[] = {
    {1, 1, false, 1},
    {0, 1, true, 2},
    {1, 0, false, 3},
    {0, 0, true, kNvType4},
};

using GpsValueCall = int32_t (*)(int32_t op, int32_t* value, int32_t* err);

// One lock command: its client call, answer name and its own traces.
struct Lock {
    const char* name;
    GpsValueCall call;
    const char* set_name;  // traces the value under this name, or null
    GnssCountRule count;
    const char* set_failed;
    const char* query_failed;
    GnssRadioTraces radio;
};

constexpr Lock kSuplLock{
    "^SUPLOCK", gpsclient_suplfeature, "AT_GPS_SetSuplFeature", {1, 1}, nullptr, nullptr, {}};
constexpr Lock kLtoLock{"^LTOLOCK", gpsclient_ltofeature, nullptr, {1, 1}, nullptr, nullptr, {}};
constexpr Lock kInjTimeLock{
    "^INJTIMELOCK",
    gpsclient_injRefTimeFeature,
    nullptr,
    {1, 1, AT_RET_NO_HANDLER, "AT_GPS_SetInjRefTimeFeature: The param is not support!\r\n",
     GPS_RET_PARAM_COUNT, "AT_GPS_SetInjRefTimeFeature: The param is too many!\r\n"},
    "AT_GPS_SetInjRefTimeFeature: Reftime Inj failed!\r\n",
    "AT_GPS_ReadInjRefTimeFeature: Read injtime failed!\r\n",
    {"AT_GPS_TestInjRefTimeFeature: Wpcap is failed!\r\n",
     "AT_GPS_TestInjRefTimeFeature: Gps is disabled!\r\n"}};

int32_t lock_set(const Lock& l, AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, l.count)) {
        return TANDREL_FAIL;
    }
    int32_t value = gnss_value(pIn, 0);
    if (l.set_name != nullptr) {
        const std::string_view text = at_para_text(pIn->m_para_list[0]);
        TANDREL_TRACE(TRACE_LEVEL_INFO, "%s ulParaValue is %d\r\n", l.set_name, value);
        TANDREL_TRACE(TRACE_LEVEL_INFO, "%s aucPara is %.*s\r\n", l.set_name,
                      static_cast<int>(text.size()), text.data());
    }
    int32_t err = 0;
    if (l.call(GPS_OP_SET, &value, &err) == 0) {
        if (l.set_failed != nullptr) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s", l.set_failed);
        }
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

int32_t lock_query(const Lock& l, AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    int32_t value = 0;
    int32_t err = 0;
    if (l.call(GPS_OP_GET, &value, &err) == 0) {
        if (l.query_failed != nullptr) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s", l.query_failed);
        }
        return gnss_client_failed(pOut, err);
    }
    answer_value(pOut, l.name, value);
    return TANDREL_OK;
}

int32_t lock_test(const Lock& l, AtRequest* pIn, AtResponse* pOut) {
    return gnss_radio_test(pIn, pOut, l.name, "(0-1)", l.radio);
}

}  // namespace

// ^WPURL

namespace {

int32_t refuse_long_address(AtResponse* pOut, uint32_t para_len) {
    TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_SetServerAddr address is too long (%u)!\r\n",
                  static_cast<unsigned>(para_len));
    return gnss_refuse(pOut, kRetBadValue, nullptr);
}

}  // namespace

int32_t AT_GPS_SetServerAddr(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, {1, 1})) {
        return TANDREL_FAIL;
    }
    AtCmdParam& p = pIn->m_para_list[0];
    // The client holds at most 128 characters: a longer address, quoted or
    // not, is refused before anything is copied.
    if (p.usParaLen > kServerAddrMax + 2) {
        return refuse_long_address(pOut, p.usParaLen);
    }
    char address[kServerAddrMax + 2] = {};
    int32_t err = 0;
    int32_t ok = 0;
    if (gps_quotes_out(p.aucPara, address, p.usParaLen) == 1) {
        TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_SetServerAddr data has quoted");
        ok = gpsclient_WPURL(GPS_OP_SET, address, static_cast<int32_t>(p.usParaLen) - 2, &err);
    } else {
        if (p.usParaLen > kServerAddrMax) {
            return refuse_long_address(pOut, p.usParaLen);
        }
        ok = gpsclient_WPURL(GPS_OP_SET, p.aucPara, static_cast<int32_t>(p.usParaLen), &err);
    }
    if (ok == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

int32_t AT_GPS_ReadServerAddr(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    char address[kServerAddrMax + 1] = {};
    int32_t err = 0;
    if (gpsclient_WPURL(GPS_OP_GET, address, 0, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    address[kServerAddrMax] = '\0';  // whatever the client wrote
    at_set_textf(pOut, "\r\n^WPURL: %s\r\n\r\nOK\r\n", address);
    return TANDREL_OK;
}

// ^WPTLS

int32_t AT_GPS_SetTlsCert(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_para_count == 0) {
        return gnss_refuse(pOut, AT_RET_NO_HANDLER, GNSS_TRACE_NOT_ENOUGH);
    }
    GpsTlsCfg cfg;
    osa_memset_s(&cfg, sizeof cfg, 0, sizeof cfg);
    const uint32_t tls_len = pIn->m_para_list[0].ulParaValue;
    if (tls_len == 0) {
        // No certificate: the client gets an all-zero record, no chunk.
        if (pIn->m_para_count > 1) {
            return gnss_refuse(pOut, GPS_RET_PARAM_COUNT, GNSS_TRACE_TOO_MANY);
        }
    } else {
        if (pIn->m_para_count != 3) {
            return gnss_refuse(pOut, GPS_RET_BAD_VALUE, "params number error!\r\n");
        }
        const AtCmdParam& text = pIn->m_para_list[2];
        cfg.tls_len = tls_len;
        cfg.index = pIn->m_para_list[1].ulParaValue;
        osa_memcpy_s(cfg.data, sizeof cfg.data, text.aucPara,
                     text.usParaLen < sizeof text.aucPara ? text.usParaLen : sizeof text.aucPara);
        const size_t length = strnlen(cfg.data, sizeof cfg.data);
        if (length > kTlsChunk) {
            return gnss_refuse(pOut, GPS_RET_BAD_VALUE, "TLS length is too long!\r\n");
        }
        cfg.length = static_cast<uint16_t>(length);
        // Chunks of 300 characters; the one after the q full chunks holds the
        // remainder r. Chunks past it are the client's to judge.
        const uint32_t q = tls_len / kTlsChunk;
        const uint32_t r = tls_len % kTlsChunk;
        bool fits = true;
        if (r == 0 || cfg.index <= q) {
            fits = length == kTlsChunk;
        } else if (cfg.index == q + 1) {
            fits = length == r;
        }
        if (!fits) {
            return gnss_refuse(pOut, GPS_RET_BAD_VALUE, "TLS data length error!\r\n");
        }
        TANDREL_TRACE(TRACE_LEVEL_INFO,
                      "AT_GPS_SetTlsCert: tls_len (%d), index (%d), length (%d)!\r\n",
                      static_cast<int32_t>(cfg.tls_len), static_cast<int32_t>(cfg.index),
                      static_cast<int32_t>(cfg.length));
    }
    int32_t err = 0;
    if (gpsclient_TLSCFG(GPS_OP_SET, &cfg, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

int32_t AT_GPS_ReadTlsCert(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    GpsTlsCfg cfg;
    osa_memset_s(&cfg, sizeof cfg, 0, sizeof cfg);
    int32_t err = 0;
    if (gpsclient_TLSCFG(GPS_OP_GET, &cfg, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    // The record holds at most 10 chunks of text, whatever the client claims.
    const uint32_t chunks = cfg.index < kTlsMaxChunks ? cfg.index : kTlsMaxChunks;
    uint32_t remaining = cfg.length < sizeof cfg.data ? cfg.length : sizeof cfg.data;
    pOut->m_buffer[0] = '\0';
    for (uint32_t i = 1; i <= chunks; ++i) {
        char chunk[kTlsChunk + 1] = {};
        const uint32_t n = remaining < kTlsChunk ? remaining : kTlsChunk;
        osa_memcpy_s(chunk, sizeof chunk - 1, cfg.data + static_cast<size_t>(i - 1) * kTlsChunk, n);
        remaining -= n;
        char line[kTlsChunk + 48];
        new_snprintf_s(line, sizeof line, sizeof line - 1, "\r\n^WPTLS: %d,%d,\"%s\"\r\n",
                       static_cast<int32_t>(cfg.tls_len), static_cast<int32_t>(i), chunk);
        gnss_append(pOut, line);
    }
    gnss_append(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

// ^AGNSSCFG

int32_t AT_GPS_SetAGNSSCFG(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, {4, 4})) {
        return TANDREL_FAIL;
    }
    GpsAgnssCfg cfg{};
    cfg.asystem = pIn->m_para_list[0].ulParaValue;
    cfg.transport_mode = pIn->m_para_list[1].ulParaValue;
    cfg.supl_ver = pIn->m_para_list[2].ulParaValue;
    cfg.sec_mode = pIn->m_para_list[3].ulParaValue;
    if (cfg.asystem != 1 || cfg.transport_mode != 1 || (cfg.supl_ver != 1 && cfg.supl_ver != 2) ||
        cfg.sec_mode > 1) {
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE, nullptr);
    }
    TANDREL_TRACE(TRACE_LEVEL_INFO,
                  "AT_GPS_SetAGNSSCFG: asystem %d,transport_mode %d,supl_ver %d,sec_mode %d!\r\n",
                  static_cast<int32_t>(cfg.asystem), static_cast<int32_t>(cfg.transport_mode),
                  static_cast<int32_t>(cfg.supl_ver), static_cast<int32_t>(cfg.sec_mode));
    int32_t err = 0;
    if (gpsclient_AGNSSCFG(GPS_OP_SET, &cfg, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

int32_t AT_GPS_ReadAGNSSCFG(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    GpsAgnssCfg cfg{};
    int32_t err = 0;
    if (gpsclient_AGNSSCFG(GPS_OP_GET, &cfg, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    at_set_textf(pOut, "\r\n^AGNSSCFG: %d,%d,%d,%d\r\n\r\nOK\r\n",
                 static_cast<int32_t>(cfg.asystem), static_cast<int32_t>(cfg.transport_mode),
                 static_cast<int32_t>(cfg.supl_ver), static_cast<int32_t>(cfg.sec_mode));
    return TANDREL_OK;
}

int32_t AT_GPS_TestAGNSSCFG(AtRequest* pIn, AtResponse* pOut) {
    return gnss_radio_test(pIn, pOut, "^AGNSSCFG", "1,1,(1,2),(0,1)");
}

// ^AGPSTYPECFG

int32_t AT_GPS_SetAgpstypeFeature(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, {1, 1})) {
        return TANDREL_FAIL;
    }
    const int32_t type = gnss_value(pIn, 0);
    TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_SetAgpstypeFeature type is %d\r\n", type);
    if (!nv_read(kNvReadFailSet)) {
        return gnss_refuse(pOut, kRetNvFailed, nullptr);
    }
    const uint8_t supl_mode = g_AgpsTypeCfgNv[kNvSuplModeByte];
    const int32_t m = supl_mode == kNvSuplMode2 ? kOpModeOfSuplMode2 : supl_mode;
    if (type < 1 || type > 4) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_SetAgpstypeFeature error type is %d\r\n", type);
        return gnss_refuse(pOut, kRetBadValue, nullptr);
    }
    const AgnssType& t = kAgnssTypes[type - 1];
    // SUPL first: when it fails the LTO lock is left as it was; when the LTO
    // call fails the SUPL lock stays set. Neither failure touches the item.
    int32_t supl = t.supl_lock;
    int32_t err = 0;
    if (gpsclient_suplfeature(GPS_OP_SET, &supl, &err) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_SetAgpstypeFeature set supl lock failed!\r\n");
        return gnss_refuse(pOut, gps_err_retenum(err), nullptr);
    }
    int32_t lto = t.lto_lock;
    err = 0;
    if (gpsclient_ltofeature(GPS_OP_SET, &lto, &err) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_SetAgpstypeFeature set lto lock failed!\r\n");
        return gnss_refuse(pOut, gps_err_retenum(err), nullptr);
    }
    int32_t mode = t.mode_from_supl ? m : 0;
    g_AgpsTypeCfgNv[kNvTypeByte] = t.nv_code;
    TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_SetAgpstypeFeature mode is %d\r\n", mode);
    err = 0;
    if (gpsclient_operateMode(GPS_OP_SET, &mode, &err) == 0) {
        return gnss_client_failed(pOut, err);
    }
    if (!nv_write()) {
        return gnss_refuse(pOut, kRetNvFailed, nullptr);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

int32_t AT_GPS_ReadAgpstypeFeature(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!nv_read(kNvReadFailQuery)) {
        return gnss_refuse(pOut, kRetNvFailed, nullptr);
    }
    const uint8_t code = g_AgpsTypeCfgNv[kNvTypeByte];
    answer_value(pOut, "^AGPSTYPECFG", code == kNvType4 ? 4 : code);
    return TANDREL_OK;
}

int32_t AT_GPS_TestAgpstypeFeature(AtRequest* pIn, AtResponse* pOut) {
    return gnss_radio_test(pIn, pOut, "^AGPSTYPECFG", "(1-4)");
}

// ^SUPLMODE: kept for the next ^AGPSTYPECFG set of type 2 or 4; the client
// is not told.

int32_t AT_GPS_SetSuplmode(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!gnss_count_ok(pIn, pOut, {1, 1})) {
        return TANDREL_FAIL;
    }
    const int32_t mode = gnss_value(pIn, 0);
    TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_SetSuplmode mode is %d\r\n", mode);
    if (!nv_read(kNvReadFailSet)) {
        return gnss_refuse(pOut, kRetNvFailed, nullptr);
    }
    g_AgpsTypeCfgNv[kNvSuplModeByte] = mode == 2 ? kNvSuplMode2 : static_cast<uint8_t>(mode);
    if (!nv_write()) {
        return gnss_refuse(pOut, kRetNvFailed, nullptr);
    }
    at_set_text(pOut, AT_TEXT_OK);
    return TANDREL_OK;
}

int32_t AT_GPS_ReadSuplmode(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!nv_read(kNvReadFailQuery)) {
        return gnss_refuse(pOut, kRetNvFailed, nullptr);
    }
    const uint8_t code = g_AgpsTypeCfgNv[kNvSuplModeByte];
    const int32_t mode = code == kNvSuplMode2 ? 2 : code;
    TANDREL_TRACE(TRACE_LEVEL_INFO, "AT_GPS_ReadSuplmode mode is %d\r\n", mode);
    answer_value(pOut, "^SUPLMODE", mode);
    return TANDREL_OK;
}

int32_t AT_GPS_TestSuplmode(AtRequest* pIn, AtResponse* pOut) {
    return gnss_radio_test(pIn, pOut, "^SUPLMODE", "(1-2)");
}

// ^SUPLOCK, ^LTOLOCK, ^INJTIMELOCK

int32_t AT_GPS_SetSuplFeature(AtRequest* pIn, AtResponse* pOut) {
    return lock_set(kSuplLock, pIn, pOut);
}
int32_t AT_GPS_ReadSuplFeature(AtRequest* pIn, AtResponse* pOut) {
    return lock_query(kSuplLock, pIn, pOut);
}
int32_t AT_GPS_TestSuplFeature(AtRequest* pIn, AtResponse* pOut) {
    return lock_test(kSuplLock, pIn, pOut);
}

int32_t AT_GPS_SetLtoFeature(AtRequest* pIn, AtResponse* pOut) {
    return lock_set(kLtoLock, pIn, pOut);
}
int32_t AT_GPS_ReadLtoFeature(AtRequest* pIn, AtResponse* pOut) {
    return lock_query(kLtoLock, pIn, pOut);
}
int32_t AT_GPS_TestLtoFeature(AtRequest* pIn, AtResponse* pOut) {
    return lock_test(kLtoLock, pIn, pOut);
}

int32_t AT_GPS_SetInjRefTimeFeature(AtRequest* pIn, AtResponse* pOut) {
    return lock_set(kInjTimeLock, pIn, pOut);
}
int32_t AT_GPS_ReadInjRefTimeFeature(AtRequest* pIn, AtResponse* pOut) {
    return lock_query(kInjTimeLock, pIn, pOut);
}
int32_t AT_GPS_TestInjRefTimeFeature(AtRequest* pIn, AtResponse* pOut) {
    return lock_test(kInjTimeLock, pIn, pOut);
}

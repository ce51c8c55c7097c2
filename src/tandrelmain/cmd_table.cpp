// The command table: 81 rows in registration order, checked at compile time.
#include "at_cmd_table.h"

#include <cstring>

#include "gps_adapter/gps_at_handlers.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "osa.h"
#include "recorderatapi/recorder_at_handlers.h"
#include "tandrel_xmodemupg/xmodem_at_handlers.h"
#include "ttsatapi/tts_at_handlers.h"
#include "update_adapter/fota_at_handlers.h"

namespace {

constexpr uint32_t T30S = 30000;         // every other present operation
constexpr uint32_t T60S = 60000;         // ^NAVRX query: waits for a fix
constexpr uint32_t T200S = 200000;       // SSL open, send and receive
constexpr uint32_t TNET = 100000000;     // commands that wait for the network
constexpr uint32_t ERR_GNSS = 92;
constexpr uint32_t ERR_FOTA_IP = 10;     // FOTA, IP stack and ^FWLOAD
constexpr uint32_t ERR_TTS = 194;
constexpr uint32_t ERR_REC = 196;

constexpr uint32_t text_size(const char* s) {
    return s == nullptr ? 0 : static_cast<uint32_t>(std::char_traits<char>::length(s) + 1);
}

// A row, with the name and template lengths derived from the texts.
constexpr AtCmdEntry row(const char* name, AtHandler set, uint32_t set_to, AtHandler query,
                         uint32_t query_to, AtHandler test, uint32_t test_to, AtHandler abort,
                         uint32_t abort_to, uint32_t err, uint32_t flag, const char* param) {
    return AtCmdEntry{0,        set,  set_to,          query, query_to, test,
                      test_to,  abort, abort_to,       err,   flag,     text_size(name),
                      name,     text_size(param), param};
}

constexpr AtHandler NS = AT_GPS_NotSupport;

// An IP stack row: the relay handler for set, query and test, 30 s for
// query, test and abort, and the shared abort handler where it has one.
constexpr AtCmdEntry ip_row(const char* name, AtHandler h, uint32_t set_to, bool abortable,
                            const char* param = nullptr) {
    return row(name, h, set_to, h, T30S, h, T30S, abortable ? at_ipstack_abort : nullptr,
               abortable ? T30S : 0, ERR_FOTA_IP, 0, param);
}

}  // namespace

constexpr AtCmdEntry g_at_cmd_table[AT_CMD_COUNT + 1] = {
    // GNSS settings.
    row("^WPDOM", AT_GPS_SetOpMode, T30S, AT_GPS_ReadOpMode, T30S, AT_GPS_TestOpMode, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0,1,5)"),
    row("^WPDST", AT_GPS_SetSessionType, T30S, AT_GPS_ReadSessionType, T30S,
        AT_GPS_TestSessionType, T30S, nullptr, 0, ERR_GNSS, 3, "(0-2)"),
    row("^WPDFR", AT_GPS_SetFixRate, T30S, AT_GPS_ReadFixRate, T30S, AT_GPS_TestFixRate, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0-65535),(1-1800)"),
    row("^WPQOS", NS, T30S, NS, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3, nullptr),
    row("^WPDGL", AT_GPS_SetLocks, T30S, AT_GPS_ReadLocks, T30S, AT_GPS_TestLocks, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0-3)"),
    row("^WPDIM", AT_GPS_SetAidingData, T30S, NS, T30S, AT_GPS_TestAidingData, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0-3)"),
    row("^WPDNM", AT_GPS_SetAnyData, T30S, NS, T30S, AT_GPS_TestAnyData, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0-12)"),
    row("^WPLPM", AT_GPS_SetLpm, T30S, AT_GPS_ReadLpm, T30S, AT_GPS_TestLpm, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0,1)"),
    row("^GPSCFGDATA", AT_GPS_SetXmlData, T30S, NS, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3,
        nullptr),
    row("^LTODATA", AT_GPS_SetLtoData, T30S, NS, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3,
        nullptr),
    row("^SUPLACAP", AT_GPS_SetSuplACap, T30S, AT_GPS_ReadSuplACap, T30S,
        AT_GPS_TestSuplACap, T30S, nullptr, 0, ERR_GNSS, 3, "(0,1)"),
    row("^WPPORT", AT_GPS_SetPortCfg, T30S, AT_GPS_ReadPortCfg, T30S, AT_GPS_TestPortCfg, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0-1)"),
    row("^WPDGP", AT_GPS_StartFix, T30S, NS, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3, nullptr),
    row("^WPEND", AT_GPS_StopFix, T30S, NS, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3, nullptr),
    // Navigation and information.
    row("^NAVTYPE", AT_GPS_SetNavType, T30S, AT_GPS_ReadNavType, T30S, AT_GPS_TestNavType, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0-255)"),
    row("^NAVENABLE", AT_GPS_SetNavEnable, T30S, nullptr, 0, AT_GPS_TestNavEnable, T30S, nullptr,
        0, ERR_GNSS, 3, "(0-255)"),
    row("^NAVRX", nullptr, 0, AT_GPS_ReadNavRx, T60S, nullptr, 0, nullptr, 0, ERR_GNSS, 3,
        nullptr),
    row("^NAVFREQ", AT_GPS_SetNavFreq, T30S, AT_GPS_ReadNavFreq, T30S, AT_GPS_TestNavFreq, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0-65535),(0-999),(0-999)"),
    row("^NAVQUY", NS, T30S, AT_GPS_ReadNavQuy, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3, nullptr),
    row("^GNSSCNO", AT_GPS_GnssCno, T30S, nullptr, 0, nullptr, 0, nullptr, 0, ERR_GNSS, 3,
        nullptr),
    row("^GNSSPOS", NS, T30S, At_GPS_ReadGnssPos, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3,
        nullptr),
    row("^WPCAP", AT_GPS_SetWpcap, T30S, AT_GPS_ReadWpcap, T30S, AT_GPS_TestWpcap, T30S, nullptr,
        0, ERR_GNSS, 3, "(0,3)"),
    row("^WPINFO", NS, T30S, AT_GPS_ReadWpinfo, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3, nullptr),
    row("^WNICT", AT_GPS_SetWnict, T30S, NS, T30S, AT_GPS_TestWnict, T30S, nullptr, 0, ERR_GNSS,
        3, "(0-1),(0-65535)"),
    row("^ZQCUST", AT_GPS_SetZqcust, T30S, AT_GPS_ReadZqcust, T30S, AT_GPS_TestZqcust, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0),(0-1)"),
    // Assisted GNSS.
    row("^WPURL", AT_GPS_SetServerAddr, T30S, AT_GPS_ReadServerAddr, T30S, NS, T30S, nullptr, 0,
        ERR_GNSS, 3, nullptr),
    row("^WPTLS", AT_GPS_SetTlsCert, T30S, AT_GPS_ReadTlsCert, T30S, NS, T30S, nullptr, 0,
        ERR_GNSS, 3, "(0-3000),(1-10),(@tlsdata)"),
    row("^AGNSSCFG", AT_GPS_SetAGNSSCFG, T30S, AT_GPS_ReadAGNSSCFG, T30S, AT_GPS_TestAGNSSCFG,
        T30S, nullptr, 0, ERR_GNSS, 3, "(1),(1),(1,2),(0,1)"),
    row("^LTOSTA", NS, T30S, NS, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3, nullptr),
    row("^SUPLOCK", AT_GPS_SetSuplFeature, T30S, AT_GPS_ReadSuplFeature, T30S,
        AT_GPS_TestSuplFeature, T30S, nullptr, 0, ERR_GNSS, 3, "(0-1)"),
    row("^AGPSTYPECFG", AT_GPS_SetAgpstypeFeature, T30S, AT_GPS_ReadAgpstypeFeature, T30S,
        AT_GPS_TestAgpstypeFeature, T30S, nullptr, 0, ERR_GNSS, 3, "(1,2,3,4)"),
    row("^SUPLMODE", AT_GPS_SetSuplmode, T30S, AT_GPS_ReadSuplmode, T30S, AT_GPS_TestSuplmode,
        T30S, nullptr, 0, ERR_GNSS, 3, "(1,2)"),
    row("^LTOLOCK", AT_GPS_SetLtoFeature, T30S, AT_GPS_ReadLtoFeature, T30S,
        AT_GPS_TestLtoFeature, T30S, nullptr, 0, ERR_GNSS, 3, "(0-1)"),
    row("^INJTIMELOCK", AT_GPS_SetInjRefTimeFeature, T30S, AT_GPS_ReadInjRefTimeFeature, T30S,
        AT_GPS_TestInjRefTimeFeature, T30S, nullptr, 0, ERR_GNSS, 3, "(0-1)"),
    row("^GNSSINJTIME", AT_GPS_InjRefTime, T30S, NS, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3,
        nullptr),
    row("^GNSSINJPOS", AT_GPS_InjRefLocInfo, T30S, NS, T30S, NS, T30S, nullptr, 0, ERR_GNSS, 3,
        nullptr),
    row("^NLGPSOPT", AT_NMEA_StartFix, T30S, AT_NMEA_StopFix, T30S, AT_GPS_NiNotify, T30S,
        nullptr, 0, ERR_GNSS, 3, "(0-1)"),
    // Firmware over the air.
    row("^FOTAMODE", At_SetFotaMode, T30S, At_GetFotaMode, T30S, At_TestFotaMode, T30S, nullptr,
        0, ERR_FOTA_IP, 3, nullptr),
    row("^FOTACFG", At_SetCfgPara, T30S, At_GetCfgPara, T30S, nullptr, T30S, nullptr, 0,
        ERR_FOTA_IP, 3, nullptr),
    row("^FOTADET", At_CheckNewVersion, T30S, nullptr, T30S, nullptr, T30S, nullptr, 0,
        ERR_FOTA_IP, 0, nullptr),
    row("^FOTADL", At_DownNewVersion, T30S, nullptr, T30S, At_TestDownNewVersion, T30S, nullptr,
        0, ERR_FOTA_IP, 0, nullptr),
    row("^FWUP", At_InstallerNewVersion, T30S, nullptr, T30S, nullptr, T30S, nullptr, 0,
        ERR_FOTA_IP, 3, nullptr),
    row("^FOTASTATE", nullptr, T30S, At_QueryUpdateState, T30S, nullptr, T30S, nullptr, 0,
        ERR_FOTA_IP, 3, nullptr),
    row("^FOTADLQ", At_CheckDownloadProgress, T30S, nullptr, T30S, nullptr, T30S, nullptr, 0,
        ERR_FOTA_IP, 0, nullptr),
    row("^FOTAP", At_PolicyIsStartFota, T30S, At_QueryFotasmsPolicy, T30S, At_TestFotasmsPolicy,
        T30S, nullptr, 0, ERR_FOTA_IP, 0, nullptr),
    row("^FOTASMSCFG", At_SetFotasmsCfg, T30S, At_QueryFotasmsCfg, T30S, At_TestFotasmsCfg, T30S,
        nullptr, 0, ERR_FOTA_IP, 3, nullptr),
    row("^FOTAOEMDL", At_DownNewVersion_ex, T30S, At_TestDownNewVersion_ex, T30S,
        At_TestDownNewVersion_ex, T30S, nullptr, 0, ERR_FOTA_IP, 0, nullptr),
    // IP stack: one handler per row serves set, query and test; the rows with
    // an abort share the IP stack's abort handler.
    ip_row("^IPINIT", at_ipstack_ipinit, TNET, true),
    ip_row("^IPINITEX", AtIpstackIpinitex, TNET, true),
    ip_row("^HBEACTEX", at_ipstack_hbeact, TNET, true),
    ip_row("^HBECONTEX", at_ipstack_hbecont, TNET, true),
    ip_row("^HBECONTDATA", at_ipstack_hbecontdata, TNET, true),
    ip_row("^IPCLOSE", at_ipstack_ipclose, TNET, true),
    ip_row("^IPOPEN", at_ipstack_ipopen, TNET, true),
    ip_row("^IPLISTEN", at_ipstack_iplisten, T30S, false),
    ip_row("^IPDNSCFG", AtIpstackIpDnsCfg, T30S, false, "(0-1)"),
    ip_row("^IPLISTENEX", at_ipstack_iplistenex, T30S, false),
    ip_row("^IPSEND", at_ipstack_ipsend, TNET, true),
    ip_row("^IPSENDEX", at_ipstack_ipsendex, TNET, true),
    ip_row("^IPENTRANS", at_ipstack_ipentrans, T30S, false),
    ip_row("^IPFLOWQ", at_ipstack_ipflowq, T30S, false),
    ip_row("^IPCFL", at_ipstack_ipcfl, T30S, false),
    ip_row("^EMSEND", at_ipstack_smtpcmd, TNET, true),
    ip_row("^HTTPCMD", at_ipstack_httpcmd, TNET, true),
    ip_row("^FTPCMD", at_ipstack_ftpcmd, TNET, true),
    ip_row("^IPRCV", at_ipstack_iprcv, TNET, true),
    ip_row("^IPOPT", at_ipstack_ipopt, T30S, false),
    ip_row("^SSLEN", at_ipstack_sslen, TNET, false),
    ip_row("^SSLMNG", at_ipstack_sslmng, TNET, false),
    ip_row("^SSLCFG", at_ipstack_sslcfg, T30S, false),
    ip_row("^SSLSTAT", at_ipstack_sslstat, T30S, false),
    ip_row("^SSLO", at_ipstack_sslo, T200S, true),
    ip_row("^SSLC", at_ipstack_sslc, T30S, false),
    ip_row("^SSLTX", at_ipstack_ssltx, T200S, true),
    ip_row("^SSLRX", at_ipstack_sslrx, T200S, true),
    // Audio and serial firmware load.
    row("^TTS", at_tts_send, T30S, at_tts_send, T30S, at_tts_send, T30S, nullptr, 0, ERR_TTS, 3,
        nullptr),
    row("^TTSCFG", at_tts_cfg, T30S, at_tts_cfg, T30S, at_tts_cfg, T30S, nullptr, 0, ERR_TTS, 3,
        nullptr),
    row("^FWLOAD", At_StartXmodemUpg, TNET, nullptr, 0, nullptr, 0, nullptr, 0, ERR_FOTA_IP, 3,
        nullptr),
    row("^AUDREC", at_recorder_audrec_exec, T30S, at_recorder_audrec_exec, T30S,
        at_recorder_audrec_exec, T30S, nullptr, 0, ERR_REC, 3, nullptr),
    row("^RECCFG", at_recorder_reccfg_exec, T30S, at_recorder_reccfg_exec, T30S,
        at_recorder_reccfg_exec, T30S, nullptr, 0, ERR_REC, 3, nullptr),
    row("^FILEIO", at_recorder_fileio_exec, T30S, at_recorder_fileio_exec, T30S,
        at_recorder_fileio_exec, T30S, nullptr, 0, ERR_REC, 3, nullptr),
    // Terminator: ends every walk, never registered.
    AtCmdEntry{0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, ERR_FOTA_IP, 3, 0, nullptr, 0,
               nullptr},
};

namespace {

constexpr uint32_t registration_length() {
    uint32_t sum = 0;
    for (const AtCmdEntry& e : g_at_cmd_table) {
        if (e.m_name_len == 0) {
            break;
        }
        sum += AT_CMD_RECORD_FIXED + e.m_name_len + e.m_param_len;
    }
    return sum;
}

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

constexpr bool same_ignoring_case(const char* a, const char* b) {
    for (; *a != '\0' && *b != '\0'; ++a, ++b) {
        if (lower(*a) != lower(*b)) {
            return false;
        }
    }
    return *a == *b;
}

constexpr bool names_unique_ignoring_case() {
    for (size_t i = 0; i < AT_CMD_COUNT; ++i) {
        for (size_t j = i + 1; j < AT_CMD_COUNT; ++j) {
            if (same_ignoring_case(g_at_cmd_table[i].m_name, g_at_cmd_table[j].m_name)) {
                return false;
            }
        }
    }
    return true;
}

constexpr bool rows_well_formed() {
    for (size_t i = 0; i < AT_CMD_COUNT; ++i) {
        const AtCmdEntry& e = g_at_cmd_table[i];
        if (e.m_index != 0 || e.m_name == nullptr || e.m_name[0] != '^' || e.m_name_len < 2 ||
            e.m_name_len > AT_CMD_NAME_SIZE) {
            return false;
        }
    }
    return g_at_cmd_table[AT_CMD_COUNT].m_name_len == 0;
}

static_assert(registration_length() == AT_CMD_TABLE_REG_LEN);
static_assert(names_unique_ignoring_case());
static_assert(rows_well_formed());

}  // namespace

namespace {

// Two characters equal ignoring case are equal with bit 5 set in both (it
// makes a letter lower case and leaves the same character the same).
constexpr char fold(char c) { return static_cast<char>(c | 0x20); }

}  // namespace

const AtCmdEntry* at_cmd_find(const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    // Names equal ignoring case have the same length and the same last
    // character folded, which rules out all but a row or two before the
    // full comparison. Names are unique ignoring case (checked at compile
    // time), so the first match is the only one.
    const size_t len = strlen(name);
    if (len == 0) {
        return nullptr;
    }
    const char last = fold(name[len - 1]);
    for (const AtCmdEntry* e = g_at_cmd_table; e->m_name_len != 0; ++e) {
        if (e->m_name_len == len + 1 && fold(e->m_name[len - 1]) == last &&
            osa_stricmp(name, e->m_name) == 0) {
            return e;
        }
    }
    return nullptr;
}

AtHandler at_cmd_handler(const AtCmdEntry& e, uint32_t type) {
    switch (type) {
        case NL_TYPE_SET:
            return e.m_set_func;
        case NL_TYPE_QUERY:
            return e.m_query_func;
        case NL_TYPE_TEST:
            return e.m_test_func;
        case NL_TYPE_ABORT:
            return e.m_abort_func;
        default:
            return nullptr;
    }
}

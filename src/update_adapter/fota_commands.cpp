// FOTA command handlers: parameter checks, one online update service call, the answer.
#include <cstring>

#include "online_update.h"
#include "osa.h"
#include "osa_buffer.h"
#include "tandrel_trace.h"
#include "text_convert.h"
#include "update_adapter/fota_at_handlers.h"
#include "update_adapter/fota_params.h"

namespace {

constexpr uint32_t kModeMaxParas = 5;
constexpr uint32_t kModeDigitParas = 4;
constexpr uint32_t kIntervalPara = 4;
constexpr size_t kIntervalMaxChars = 5;
constexpr uint32_t kIntervalMin = 1;
constexpr uint32_t kIntervalMax = 65535;
// The interval the service keeps while periodic detection is off.
constexpr uint32_t kIntervalDetectOff = 7;

constexpr uint32_t kCfgParas = 4;
constexpr size_t kApnMaxChars = FOTA_APN_SIZE - 1;
constexpr size_t kCredentialMaxChars = 63;
// One byte more than the record's credential fields; the record takes 64.
constexpr size_t kCredentialWorkSize = 65;
constexpr size_t kOemArgMaxChars = FOTA_OEM_ARG_SIZE - 1;

// ^FOTAOEMDL answers "\r\n %s \r\n" filled with "\r\nOK\r\n": its final
// result travels between blanks, unlike every other command's.
constexpr char kOemDownloadOk[] = "\r\n \r\nOK\r\n \r\n";

// The mode digits in parameter order, with the names used in traces.
struct ModeDigit {
    uint8_t FotaModeRecord::*field;
    const char* name;
};
constexpr ModeDigit kModeDigits[kModeDigitParas] = {
    {&FotaModeRecord::detect_mode, "detect_mode"},
    {&FotaModeRecord::download_mode, "download_mode"},
    {&FotaModeRecord::update_mode, "update_mode"},
    {&FotaModeRecord::en_resume, "en_resume"},
};

// Commands whose one parameter is an operation value passed to the service.
struct OperationCommand {
    const char* handler;
    uint32_t max;
    int32_t (*call)(uint32_t value, uint32_t* err);
};
constexpr OperationCommand kDownload{"At_DownNewVersion", 2, online_update_download_new_version};
constexpr OperationCommand kSmsPolicy{"At_PolicyIsStartFota", 1, online_update_sms_fota_policy};
constexpr OperationCommand kSmsAutoDownload{"At_SetFotasmsCfg", 1,
                                            online_update_set_sms_fota_auto_download_state};

// Commands without parameters that start something in the service.
struct StartCommand {
    const char* handler;
    int32_t (*call)(uint32_t* err);
};
constexpr StartCommand kDetect{"At_CheckNewVersion", online_update_check_new_version};
constexpr StartCommand kInstall{"At_InstallerNewVersion", online_update_installer_new_version};

// Queries answered with one number of the service.
struct NumberQuery {
    const char* handler;
    const char* name;
    int32_t (*call)(uint32_t* value);
};
constexpr NumberQuery kStateQuery{"At_QueryUpdateState", "^FOTASTATE",
                                  online_update_query_update_state};
constexpr NumberQuery kPolicyQuery{"At_QueryFotasmsPolicy", "^FOTAP",
                                   online_update_query_fotasms_policy};
constexpr NumberQuery kAutoDownloadQuery{"At_QueryFotasmsCfg", "^FOTASMSCFG",
                                         online_update_query_sms_fota_auto_download_state};

bool null_args(const AtRequest* pIn, const AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return true;
    }
    return false;
}

int32_t refuse(AtResponse* pOut, const char* handler, const char* why, int32_t retenum) {
    TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s %s, m_retenum %d\r\n", handler, why, retenum);
    at_set_error(pOut, retenum);
    return TANDREL_FAIL;
}

int32_t no_record(const char* handler) {
    TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s failed to osa_malloc\r\n", handler);
    return TANDREL_FAIL;
}

// The answer of a service call that changes something: its success text, or
// its error code mapped.
int32_t answer_set(AtResponse* pOut, const char* handler, int32_t ok, uint32_t err,
                   std::string_view success = AT_TEXT_OK) {
    if (ok != 0) {
        at_set_text(pOut, success);
        return TANDREL_OK;
    }
    TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s service failed, error code %u\r\n", handler, err);
    at_set_error(pOut, update_get_at_retNum(static_cast<int32_t>(err)));
    return TANDREL_FAIL;
}

// Queries carry no error code: a failure is always the generic error.
int32_t answer_query_failed(AtResponse* pOut, const char* handler) {
    TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s service query failed\r\n", handler);
    at_set_error(pOut, update_get_at_retNum(0));
    return TANDREL_FAIL;
}

int32_t answer_fixed(const AtRequest* pIn, AtResponse* pOut, std::string_view text) {
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    at_set_text(pOut, text);
    return TANDREL_OK;
}

// Width for "%.*s" of a service text field, which may lack its NUL.
int field_width(const char* field, size_t size) {
    return static_cast<int>(strnlen(field, size));
}

// Strips the quotes of text parameter i in place and gives the text between
// them; false when it is not exactly one quoted text of at most max_chars.
// An empty parameter gives an empty text.
bool quoted_para(AtRequest* pIn, uint32_t i, size_t max_chars, std::string_view* text) {
    const std::string_view typed = fota_para(pIn, i);
    *text = {};
    if (typed.empty()) {
        return true;
    }
    char* para = pIn->m_para_list[i].aucPara;
    const auto len = static_cast<uint32_t>(typed.size());
    if (update_at_strip_quotes_out(para, para, len) == 0) {
        return false;
    }
    *text = {para, strnlen(para, len)};
    return text->size() <= max_chars;
}

bool mode_digit(std::string_view text, uint8_t* value) {
    if (text.size() != 1 || (text[0] != '0' && text[0] != '1')) {
        return false;
    }
    *value = static_cast<uint8_t>(text[0] - '0');
    return true;
}

bool detect_interval(std::string_view text, uint32_t* value) {
    if (text.empty() || text.size() > kIntervalMaxChars) {
        return false;
    }
    char digits[kIntervalMaxChars + 1] = {};
    osa_memcpy_s(digits, sizeof digits, text.data(), text.size());
    return check_valid_chars(digits, "0123456789") != 0 &&
           update_parse_uint(value, text, 10) == 0 && *value >= kIntervalMin &&
           *value <= kIntervalMax;
}

int32_t set_operation(AtRequest* pIn, AtResponse* pOut, const OperationCommand& cmd) {
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_para_count >= 2) {
        return refuse(pOut, cmd.handler, "too many parameters", FOTA_RET_BAD_PARAM);
    }
    const std::string_view text = fota_para(pIn, 0);
    if (text.empty()) {
        return refuse(pOut, cmd.handler, "operation missing", FOTA_RET_GENERIC);
    }
    uint32_t value = 0;
    if (update_parse_uint(&value, text, 10) != 0 || value > cmd.max) {
        return refuse(pOut, cmd.handler, "operation invalid", FOTA_RET_BAD_PARAM);
    }
    uint32_t err = 0;
    const int32_t ok = cmd.call(value, &err);
    return answer_set(pOut, cmd.handler, ok, err);
}

int32_t start(AtRequest* pIn, AtResponse* pOut, const StartCommand& cmd) {
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_reserved != 0) {
        return refuse(pOut, cmd.handler, "m_reserved set", FOTA_RET_GENERIC);
    }
    uint32_t err = 0;
    const int32_t ok = cmd.call(&err);
    return answer_set(pOut, cmd.handler, ok, err);
}

int32_t query_number(AtRequest* pIn, AtResponse* pOut, const NumberQuery& q) {
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    uint32_t value = 0;
    if (q.call(&value) == 0) {
        return answer_query_failed(pOut, q.handler);
    }
    at_set_textf(pOut, "\r\n%s: %d\r\n\r\nOK\r\n", q.name, static_cast<int32_t>(value));
    return TANDREL_OK;
}

}  // namespace

int32_t At_SetFotaMode(AtRequest* pIn, AtResponse* pOut) {
    static constexpr char kHandler[] = "At_SetFotaMode";
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_para_count > kModeMaxParas) {
        return refuse(pOut, kHandler, "too many parameters", FOTA_RET_BAD_PARAM);
    }
    FotaModeRecord mode{};
    for (uint32_t i = 0; i < kModeDigitParas; ++i) {
        if (!mode_digit(fota_para(pIn, i), &(mode.*kModeDigits[i].field))) {
            return refuse(pOut, kHandler, kModeDigits[i].name, FOTA_RET_BAD_PARAM);
        }
    }
    const std::string_view interval = fota_para(pIn, kIntervalPara);
    if (mode.detect_mode == 1) {
        if (!detect_interval(interval, &mode.detect_interval)) {
            return refuse(pOut, kHandler, "detect_interval", FOTA_RET_BAD_PARAM);
        }
    } else {
        // Without periodic detection there is no interval to give.
        if (!interval.empty()) {
            return refuse(pOut, kHandler, "detect_interval without detect_mode",
                          FOTA_RET_BAD_PARAM);
        }
        mode.detect_interval = kIntervalDetectOff;
    }
    OsaBuffer record(sizeof(FotaModeRecord));
    if (!record) {
        return no_record(kHandler);
    }
    *record.as<FotaModeRecord>() = mode;
    uint32_t err = 0;
    const int32_t ok = online_update_set_opration_mode(record.as<FotaModeRecord>(), &err);
    return answer_set(pOut, kHandler, ok, err);
}

int32_t At_GetFotaMode(AtRequest* pIn, AtResponse* pOut) {
    static constexpr char kHandler[] = "At_GetFotaMode";
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    OsaBuffer record(sizeof(FotaModeRecord));
    if (!record) {
        return no_record(kHandler);
    }
    auto* mode = record.as<FotaModeRecord>();
    if (online_update_get_opration_mode(mode) == 0) {
        return answer_query_failed(pOut, kHandler);
    }
    at_set_textf(pOut, "\r\n^FOTAMODE: %d,%d,%d,%d,%d\r\n\r\nOK\r\n", mode->detect_mode,
                 mode->download_mode, mode->update_mode, mode->en_resume,
                 static_cast<int32_t>(mode->detect_interval));
    return TANDREL_OK;
}

int32_t At_TestFotaMode(AtRequest* pIn, AtResponse* pOut) {
    return answer_fixed(pIn, pOut,
                        "\r\n^FOTAMODE: (0-1),(0-1),(0-1),(0-1),(1-65535)\r\n\r\nOK\r\n");
}

int32_t At_SetCfgPara(AtRequest* pIn, AtResponse* pOut) {
    static constexpr char kHandler[] = "At_SetCfgPara";
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_para_count != kCfgParas) {
        return refuse(pOut, kHandler, "parameter count", FOTA_RET_BAD_PARAM);
    }
    std::string_view apn;
    if (!quoted_para(pIn, 0, kApnMaxChars, &apn)) {
        return refuse(pOut, kHandler, "APN", FOTA_RET_BAD_PARAM);
    }
    char apn_field[FOTA_APN_SIZE] = {};
    osa_memcpy_s(apn_field, sizeof apn_field, apn.data(), apn.size());
    // An empty APN is passed on as it is: the service then uses its own.
    if (apn_field[0] != '\0' && update_at_check_apn(apn_field) == 0) {
        return refuse(pOut, kHandler, "APN characters", FOTA_RET_BAD_PARAM);
    }
    char credentials[2][kCredentialWorkSize] = {};
    static constexpr const char* kCredentialNames[2] = {"user name", "password"};
    for (uint32_t i = 0; i < 2; ++i) {
        std::string_view text;
        if (!quoted_para(pIn, 1 + i, kCredentialMaxChars, &text)) {
            return refuse(pOut, kHandler, kCredentialNames[i], FOTA_RET_BAD_PARAM);
        }
        osa_memcpy_s(credentials[i], sizeof credentials[i], text.data(), text.size());
    }
    uint32_t auth_type = 0;
    if (update_parse_uint(&auth_type, fota_para(pIn, 3), 10) != 0 ||
        update_at_check_auth_type_valid(auth_type) == 0) {
        return refuse(pOut, kHandler, "auth_type", FOTA_RET_BAD_PARAM);
    }

    OsaBuffer record(sizeof(FotaConnectPara));
    if (!record) {
        return no_record(kHandler);
    }
    auto* para = record.as<FotaConnectPara>();
    para->auth_type = auth_type;
    osa_memcpy_s(para->apn, sizeof para->apn, apn_field, kApnMaxChars);
    osa_memcpy_s(para->user, sizeof para->user, credentials[0], sizeof para->user);
    osa_memcpy_s(para->password, sizeof para->password, credentials[1], sizeof para->password);
    uint32_t err = 0;
    const int32_t ok = online_update_set_connect_para(para, &err);
    return answer_set(pOut, kHandler, ok, err);
}

int32_t At_GetCfgPara(AtRequest* pIn, AtResponse* pOut) {
    static constexpr char kHandler[] = "At_GetCfgPara";
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    OsaBuffer record(sizeof(FotaConnectPara));
    if (!record) {
        return no_record(kHandler);
    }
    auto* para = record.as<FotaConnectPara>();
    if (online_update_get_connect_para(para) == 0) {
        return answer_query_failed(pOut, kHandler);
    }
    at_set_textf(pOut, "\r\n^FOTACFG: \"%.*s\",\"%.*s\",\"%.*s\",%d\r\n\r\nOK\r\n",
                 field_width(para->apn, sizeof para->apn), para->apn,
                 field_width(para->user, sizeof para->user), para->user,
                 field_width(para->password, sizeof para->password), para->password,
                 static_cast<int32_t>(para->auth_type));
    return TANDREL_OK;
}

int32_t At_CheckNewVersion(AtRequest* pIn, AtResponse* pOut) {
    return start(pIn, pOut, kDetect);
}

int32_t At_DownNewVersion(AtRequest* pIn, AtResponse* pOut) {
    return set_operation(pIn, pOut, kDownload);
}

int32_t At_TestDownNewVersion(AtRequest* pIn, AtResponse* pOut) {
    return answer_fixed(pIn, pOut, "\r\n^FOTADL: (0-2)\r\n\r\nOK\r\n");
}

int32_t At_InstallerNewVersion(AtRequest* pIn, AtResponse* pOut) {
    return start(pIn, pOut, kInstall);
}

int32_t At_QueryUpdateState(AtRequest* pIn, AtResponse* pOut) {
    return query_number(pIn, pOut, kStateQuery);
}

int32_t At_CheckDownloadProgress(AtRequest* pIn, AtResponse* pOut) {
    static constexpr char kHandler[] = "At_CheckDownloadProgress";
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_reserved != 0) {
        return refuse(pOut, kHandler, "m_reserved set", FOTA_RET_GENERIC);
    }
    OsaBuffer record(sizeof(FotaDownloadProgress));
    if (!record) {
        return no_record(kHandler);
    }
    auto* progress = record.as<FotaDownloadProgress>();
    if (online_update_check_download_progress(progress) == 0) {
        return answer_query_failed(pOut, kHandler);
    }
    TANDREL_TRACE(TRACE_LEVEL_DEBUG, "%s package index %u\r\n", kHandler, progress->package_index);
    // The host always sees package 1: the service downloads one package at a time.
    at_set_textf(pOut, "\r\n^FOTADLQ: %d,\"%.*s\",%d,%d\r\n\r\nOK\r\n", 1,
                 field_width(progress->package_name, sizeof progress->package_name),
                 progress->package_name, static_cast<int32_t>(progress->downloaded_size),
                 static_cast<int32_t>(progress->total_size));
    return TANDREL_OK;
}

int32_t At_PolicyIsStartFota(AtRequest* pIn, AtResponse* pOut) {
    return set_operation(pIn, pOut, kSmsPolicy);
}

int32_t At_QueryFotasmsPolicy(AtRequest* pIn, AtResponse* pOut) {
    return query_number(pIn, pOut, kPolicyQuery);
}

int32_t At_TestFotasmsPolicy(AtRequest* pIn, AtResponse* pOut) {
    return answer_fixed(pIn, pOut, "\r\n^FOTAP: (0-1)\r\n\r\nOK\r\n");
}

int32_t At_SetFotasmsCfg(AtRequest* pIn, AtResponse* pOut) {
    return set_operation(pIn, pOut, kSmsAutoDownload);
}

int32_t At_QueryFotasmsCfg(AtRequest* pIn, AtResponse* pOut) {
    return query_number(pIn, pOut, kAutoDownloadQuery);
}

int32_t At_TestFotasmsCfg(AtRequest* pIn, AtResponse* pOut) {
    return answer_fixed(pIn, pOut, "\r\n^FOTASMSCFG: (0-1)\r\n\r\nOK\r\n");
}

int32_t At_DownNewVersion_ex(AtRequest* pIn, AtResponse* pOut) {
    static constexpr char kHandler[] = "At_DownNewVersion_ex";
    if (null_args(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (pIn->m_para_count >= 2) {
        return refuse(pOut, kHandler, "too many parameters", FOTA_RET_BAD_PARAM);
    }
    std::string_view arg;
    if (!quoted_para(pIn, 0, kOemArgMaxChars, &arg)) {
        return refuse(pOut, kHandler, "argument", FOTA_RET_BAD_PARAM);
    }
    uint32_t err = 0;
    int32_t ok = 0;
    {
        OsaBuffer buffer(FOTA_OEM_ARG_SIZE);
        if (!buffer) {
            return refuse(pOut, kHandler, "no buffer", FOTA_RET_NO_BUFFER);
        }
        osa_memcpy_s(buffer.get(), buffer.size(), arg.data(), arg.size());
        ok = online_update_download_new_version_ex(buffer.as<char>(), &err);
    }
    return answer_set(pOut, kHandler, ok, err, kOemDownloadOk);
}

int32_t At_TestDownNewVersion_ex(AtRequest* pIn, AtResponse* pOut) {
    return answer_fixed(pIn, pOut, AT_TEXT_OK);
}

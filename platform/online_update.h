// Online update service: its records, its calls and its notify traffic with the daemon.
#pragma once

#include <cstddef>
#include <cstdint>

// Detection, download and update modes. detect_interval is 1 to 65535 when
// detect_mode is 1, and 7 when it is 0.
struct FotaModeRecord {
    uint8_t detect_mode;
    uint8_t download_mode;
    uint8_t update_mode;
    uint8_t en_resume;
    uint32_t detect_interval;
};
static_assert(sizeof(FotaModeRecord) == 8);
static_assert(offsetof(FotaModeRecord, detect_mode) == 0);
static_assert(offsetof(FotaModeRecord, download_mode) == 1);
static_assert(offsetof(FotaModeRecord, update_mode) == 2);
static_assert(offsetof(FotaModeRecord, en_resume) == 3);
static_assert(offsetof(FotaModeRecord, detect_interval) == 4);

inline constexpr size_t FOTA_APN_SIZE = 100;
inline constexpr size_t FOTA_USER_SIZE = 64;
inline constexpr size_t FOTA_PASSWORD_SIZE = 64;

// Connection parameters used to reach the update server; texts are
// NUL-terminated and zero-filled.
struct FotaConnectPara {
    uint32_t auth_type;  // 0, 1 or 2
    char apn[FOTA_APN_SIZE];
    char user[FOTA_USER_SIZE];
    char password[FOTA_PASSWORD_SIZE];
};
static_assert(sizeof(FotaConnectPara) == 232);
static_assert(offsetof(FotaConnectPara, auth_type) == 0);
static_assert(offsetof(FotaConnectPara, apn) == 4);
static_assert(offsetof(FotaConnectPara, user) == 104);
static_assert(offsetof(FotaConnectPara, password) == 168);

inline constexpr size_t FOTA_PACKAGE_NAME_SIZE = 20;

// Download progress. The daemon reads the package index (traced only), the
// sizes and the package name; the other bytes are the service's own.
struct FotaDownloadProgress {
    uint8_t service_head[16];
    uint32_t package_index;
    uint8_t service_mid[8];
    uint32_t total_size;
    uint32_t downloaded_size;
    uint8_t service_tail[4];
    char package_name[FOTA_PACKAGE_NAME_SIZE];
};
static_assert(sizeof(FotaDownloadProgress) == 60);
static_assert(offsetof(FotaDownloadProgress, package_index) == 16);
static_assert(offsetof(FotaDownloadProgress, total_size) == 28);
static_assert(offsetof(FotaDownloadProgress, downloaded_size) == 32);
static_assert(offsetof(FotaDownloadProgress, package_name) == 40);

inline constexpr size_t FOTA_VERSION_SIZE = 64;
inline constexpr size_t FOTA_DESCRIPTION_SIZE = 1284;

// Update state, delivered with event 63000 and returned for request 3035.
struct FotaStateInfo {
    uint32_t state;
    char version[FOTA_VERSION_SIZE];
    char description[FOTA_DESCRIPTION_SIZE];
    uint32_t size;
    uint32_t detail;
};
static_assert(sizeof(FotaStateInfo) == 1360);
static_assert(offsetof(FotaStateInfo, state) == 0);
static_assert(offsetof(FotaStateInfo, version) == 4);
static_assert(offsetof(FotaStateInfo, description) == 68);
static_assert(offsetof(FotaStateInfo, size) == 1352);
static_assert(offsetof(FotaStateInfo, detail) == 1356);

// Update states that the reports treat specially.
inline constexpr uint32_t FOTA_STATE_NEW_VERSION = 12;  // version, size and description valid
inline constexpr uint32_t FOTA_STATE_NO_NEW_VERSION = 14;

// Size of the buffer handed to online_update_download_new_version_ex.
inline constexpr size_t FOTA_OEM_ARG_SIZE = 256;

// Notify traffic: the daemon's update adapter is module 63; the service is
// module 3 and answers request 3035 with its last FotaStateInfo.
inline constexpr uint32_t NOTIFY_MODULE_UPDATE = 63;
inline constexpr uint32_t UPDATE_EVT_STATE = 63000;       // first callback: (info, length)
inline constexpr uint32_t UPDATE_EVT_STATE_PAIR = 63001;  // second callback: (a, b)
inline constexpr uint32_t UPDATE_EVT_LAST_STATE = 63002;  // second callback: fetch last state
inline constexpr uint32_t UPDATE_EVT_SMS_POLICY = 63003;  // second callback: ^FOTASMS
inline constexpr uint32_t NOTIFY_MODULE_ONLINE_UPDATE = 3;
inline constexpr uint32_t ONLINE_UPDATE_REQ_LAST_STATE = 3035;

// Every call returns non-zero for success and 0 for failure. The calls that
// change something take an error word that the caller zeroes and the service
// fills with its error code (1 to 18) when it fails.
extern "C" {
int32_t online_update_get_opration_mode(FotaModeRecord* mode);
int32_t online_update_set_opration_mode(const FotaModeRecord* mode, uint32_t* err);
int32_t online_update_get_connect_para(FotaConnectPara* para);
int32_t online_update_set_connect_para(const FotaConnectPara* para, uint32_t* err);
int32_t online_update_check_new_version(uint32_t* err);
int32_t online_update_download_new_version(uint32_t operation, uint32_t* err);
// arg: a NUL-terminated text in a buffer of FOTA_OEM_ARG_SIZE bytes.
int32_t online_update_download_new_version_ex(const char* arg, uint32_t* err);
int32_t online_update_installer_new_version(uint32_t* err);
int32_t online_update_query_update_state(uint32_t* state);
int32_t online_update_check_download_progress(FotaDownloadProgress* progress);
int32_t online_update_sms_fota_policy(uint32_t policy, uint32_t* err);
int32_t online_update_query_fotasms_policy(uint32_t* policy);
int32_t online_update_set_sms_fota_auto_download_state(uint32_t state, uint32_t* err);
int32_t online_update_query_sms_fota_auto_download_state(uint32_t* state);
}

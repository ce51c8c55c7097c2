// Recording fake of the online update service.
#include "fake_online_update.h"


namespace fake {

OnlineUpdate& online_update() {
    static OnlineUpdate s;
    return s;
}

}  // namespace fake

namespace {

using fake::online_update;

int32_t change(const char* name, uint32_t* err) {
    fake::OnlineUpdate& s = online_update();
    s.calls.push_back(name);
    if (s.result == 0 && err != nullptr) {
        *err = s.err_code;
    }
    return s.result;
}

template <typename T>
int32_t query(const char* name, T* out, const T& value) {
    online_update().calls.push_back(name);
    if (online_update().result != 0 && out != nullptr) {
        *out = value;
    }
    return online_update().result;
}

}  // namespace

extern "C" {

int32_t online_update_get_opration_mode(FotaModeRecord* mode) {
    return query("online_update_get_opration_mode", mode, online_update().mode);
}

int32_t online_update_set_opration_mode(const FotaModeRecord* mode, uint32_t* err) {
    return change("online_update_set_opration_mode", err);
}

int32_t online_update_get_connect_para(FotaConnectPara* para) {
    return query("online_update_get_connect_para", para, online_update().connect);
}

int32_t online_update_set_connect_para(const FotaConnectPara* para, uint32_t* err) {
    return change("online_update_set_connect_para", err);
}

int32_t online_update_check_new_version(uint32_t* err) {
    return change("online_update_check_new_version", err);
}

int32_t online_update_download_new_version(uint32_t operation, uint32_t* err) {
    online_update().operation = operation;
    return change("online_update_download_new_version", err);
}

int32_t online_update_download_new_version_ex(const char* arg, uint32_t* err) {
    return change("online_update_download_new_version_ex", err);
}

int32_t online_update_installer_new_version(uint32_t* err) {
    return change("online_update_installer_new_version", err);
}

int32_t online_update_query_update_state(uint32_t* state) {
    return query("online_update_query_update_state", state, online_update().value);
}

int32_t online_update_check_download_progress(FotaDownloadProgress* progress) {
    return query("online_update_check_download_progress", progress, online_update().progress);
}

int32_t online_update_sms_fota_policy(uint32_t policy, uint32_t* err) {
    online_update().operation = policy;
    return change("online_update_sms_fota_policy", err);
}

int32_t online_update_query_fotasms_policy(uint32_t* policy) {
    return query("online_update_query_fotasms_policy", policy, online_update().value);
}

int32_t online_update_set_sms_fota_auto_download_state(uint32_t state, uint32_t* err) {
    online_update().operation = state;
    return change("online_update_set_sms_fota_auto_download_state", err);
}

int32_t online_update_query_sms_fota_auto_download_state(uint32_t* state) {
    return query("online_update_query_sms_fota_auto_download_state", state, online_update().value);
}

}  // extern "C"

// Service calls the host does not simulate yet: each says so and gives a neutral result.
// A simulated service removes its functions from this file when it lands.
#include "gpsclient.h"
#include "module_info.h"
#include "online_update.h"
#include "tandrel_trace.h"

extern "C" {

// No GNSS client runs, so the callbacks are never called. 0: not started.
int32_t gpsclient_init(GpsClientCallbacks* /*callbacks*/) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "GNSS client not simulated: callbacks not taken\n");
    return 0;
}

int32_t boot_check_update_info(void) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO, "update service not simulated: no update state to check\n");
    return 0;
}


// The online update service: every call fails.
int32_t online_update_get_opration_mode(FotaModeRecord*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_get_opration_mode\n");
    return 0;
}
int32_t online_update_set_opration_mode(const FotaModeRecord*, uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_set_opration_mode\n");
    return 0;
}
int32_t online_update_get_connect_para(FotaConnectPara*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_get_connect_para\n");
    return 0;
}
int32_t online_update_set_connect_para(const FotaConnectPara*, uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_set_connect_para\n");
    return 0;
}
int32_t online_update_check_new_version(uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_check_new_version\n");
    return 0;
}
int32_t online_update_download_new_version(uint32_t, uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_download_new_version\n");
    return 0;
}
int32_t online_update_download_new_version_ex(const char*, uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_download_new_version_ex\n");
    return 0;
}
int32_t online_update_installer_new_version(uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_installer_new_version\n");
    return 0;
}
int32_t online_update_query_update_state(uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_query_update_state\n");
    return 0;
}
int32_t online_update_check_download_progress(FotaDownloadProgress*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_check_download_progress\n");
    return 0;
}
int32_t online_update_sms_fota_policy(uint32_t, uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_sms_fota_policy\n");
    return 0;
}
int32_t online_update_query_fotasms_policy(uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_query_fotasms_policy\n");
    return 0;
}
int32_t online_update_set_sms_fota_auto_download_state(uint32_t, uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_set_sms_fota_auto_download_state\n");
    return 0;
}
int32_t online_update_query_sms_fota_auto_download_state(uint32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "update service not simulated: online_update_query_sms_fota_auto_download_state\n");
    return 0;
}

}  // extern "C"

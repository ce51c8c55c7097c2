// Stubs of the online update service: every call succeeds and leaves its outputs as they were.
#include "online_update.h"

extern "C" {

int32_t online_update_get_opration_mode(FotaModeRecord*) { return 1; }
int32_t online_update_set_opration_mode(const FotaModeRecord*, uint32_t*) { return 1; }
int32_t online_update_get_connect_para(FotaConnectPara*) { return 1; }
int32_t online_update_set_connect_para(const FotaConnectPara*, uint32_t*) { return 1; }
int32_t online_update_check_new_version(uint32_t*) { return 1; }
int32_t online_update_download_new_version(uint32_t, uint32_t*) { return 1; }
int32_t online_update_download_new_version_ex(const char*, uint32_t*) { return 1; }
int32_t online_update_installer_new_version(uint32_t*) { return 1; }
int32_t online_update_query_update_state(uint32_t*) { return 1; }
int32_t online_update_check_download_progress(FotaDownloadProgress*) { return 1; }
int32_t online_update_sms_fota_policy(uint32_t, uint32_t*) { return 1; }
int32_t online_update_query_fotasms_policy(uint32_t*) { return 1; }
int32_t online_update_set_sms_fota_auto_download_state(uint32_t, uint32_t*) { return 1; }
int32_t online_update_query_sms_fota_auto_download_state(uint32_t*) { return 1; }

}  // extern "C"

// Service calls the host does not simulate yet: each says so and gives a neutral result.
// A simulated service removes its functions from this file when it lands.
#include "gpsclient.h"
#include "ipstack.h"
#include "module_info.h"
#include "online_update.h"
#include "recorder.h"
#include "tts.h"
#include "xmodem.h"
#include "tandrel_trace.h"

extern "C" {

// No GNSS client runs, so the callbacks are never called. 0: not started.
int32_t gpsclient_init(GpsClientCallbacks* /*callbacks*/) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "GNSS client not simulated: callbacks not taken\n");
    return 0;
}

void ipstack_hbecat_main(void) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "IP stack not simulated: no heartbeat sent\n");
}

int32_t ipstack_hbe_maxtime(int32_t arg) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "IP stack not simulated: heartbeat maximum time %d ignored\n",
                      arg);
    return 0;
}

int32_t boot_check_update_info(void) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO, "update service not simulated: no update state to check\n");
    return 0;
}


// The IP stack's AT entry points: every command fails without a number.
#define TANDREL_IPSTACK_PENDING(name)                                                       \
    int32_t name(AtRequest*, AtResponse*) {                                                 \
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "IP stack not simulated: " #name "\n"); \
        return 0;                                                                           \
    }
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ipinit_cmd)
TANDREL_IPSTACK_PENDING(IpstackAtExecIpinitexCmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_hbeact_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_hbecont_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_hbecontdata_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ipclose_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ipopen_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_iplisten_cmd)
TANDREL_IPSTACK_PENDING(IpstackAtExecIpDnsCfgCmd)
TANDREL_IPSTACK_PENDING(IpStackAtExecIpListenExCmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ipsend_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ipsendex_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ipentrans_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ipflowq_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ipcfl_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_smtpcmd_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_httpcmd_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ftpcmd_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_iprcv_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ipopt_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_sslen_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_sslmng_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_sslcfg_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_sslstat_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_sslo_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_sslc_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_ssltx_cmd)
TANDREL_IPSTACK_PENDING(ipstack_at_exec_sslrx_cmd)

int32_t ipstack_at_abort_at_cmd(void) { return 0; }
void ipstack_reset_ssl_enable_status(void) {}
void reset_http_sock_type(void) {}
int32_t ipstack_get_at_errornum(uint32_t) { return 0; }
void ipstack_at_set_cme_error(uint32_t, char*, int32_t) {}

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


// GNSS client, audio engines, firmware loader and module version: every call fails.
int32_t AT_Cgmr(char*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: AT_Cgmr\n");
    return 0;
}

int32_t gpsclient_AGNSSCFG(int32_t, GpsAgnssCfg*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_AGNSSCFG\n");
    return 0;
}

int32_t gpsclient_SET_NITIMER(int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_SET_NITIMER\n");
    return 0;
}

int32_t gpsclient_SuplAutonomousCapable(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_SuplAutonomousCapable\n");
    return 0;
}

int32_t gpsclient_WNICT(int32_t, int32_t*, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_WNICT\n");
    return 0;
}

int32_t gpsclient_WPCAP(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_WPCAP\n");
    return 0;
}

int32_t gpsclient_WPLPM(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_WPLPM\n");
    return 0;
}

int32_t gpsclient_WPURL(int32_t, char*, int32_t, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_WPURL\n");
    return 0;
}

int32_t gpsclient_aidingData(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_aidingData\n");
    return 0;
}

int32_t gpsclient_anyData(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_anyData\n");
    return 0;
}

int32_t gpsclient_freqAndInterval(int32_t, int32_t*, int32_t*, int32_t*, int32_t) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_freqAndInterval\n");
    return 0;
}

int32_t gpsclient_locks(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_locks\n");
    return 0;
}

int32_t gpsclient_operateMode(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_operateMode\n");
    return 0;
}

int32_t gpsclient_portCfg(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_portCfg\n");
    return 0;
}

int32_t gpsclient_send_nitext(const char*, int32_t, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_send_nitext\n");
    return 0;
}

int32_t gpsclient_sessionType(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_sessionType\n");
    return 0;
}

int32_t gpsclient_startFix(int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_startFix\n");
    return 0;
}

int32_t gpsclient_stopFix(int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_stopFix\n");
    return 0;
}

int32_t gpsclient_suplfeature(int32_t, int32_t*, int32_t*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: gpsclient_suplfeature\n");
    return 0;
}

int32_t rec_at_util_is_number(const char*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: rec_at_util_is_number\n");
    return 0;
}

int32_t recorder_at_audrec_cmd(AtRequest*, AtResponse*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: recorder_at_audrec_cmd\n");
    return 0;
}

int32_t recorder_at_check_file_name(const char*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: recorder_at_check_file_name\n");
    return 0;
}

int32_t recorder_at_fileio_cmd(AtRequest*, AtResponse*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: recorder_at_fileio_cmd\n");
    return 0;
}

int32_t recorder_at_reccfg_cmd(AtRequest*, AtResponse*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: recorder_at_reccfg_cmd\n");
    return 0;
}

int32_t recorder_at_strip_quotes_out(char*, char*, uint16_t) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: recorder_at_strip_quotes_out\n");
    return 0;
}

void recorder_save_ram_size(int32_t) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: recorder_save_ram_size\n");
}

int32_t start_xmodem_upg(AtRequest*, AtResponse*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: start_xmodem_upg\n");
    return 0;
}

int32_t tts_at_cfg_cmd(AtRequest*, AtResponse*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: tts_at_cfg_cmd\n");
    return 0;
}

int32_t tts_at_exec_cmd(AtRequest*, AtResponse*) {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: tts_at_exec_cmd\n");
    return 0;
}

int32_t xu_check_bbou_state() {
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "service not simulated: xu_check_bbou_state\n");
    return 0;
}

int32_t g_IsRamRecordInProgress = 0;

}  // extern "C"

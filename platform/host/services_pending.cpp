// Service calls the host does not simulate yet: each says so and gives a neutral result.
// A simulated service removes its functions from this file when it lands.
#include "gpsclient.h"
#include "module_info.h"
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

// Service calls the host does not simulate yet: each says so and gives a neutral result.
// A simulated service removes its functions from this file when it lands.
#include "module_info.h"
#include "recorder.h"
#include "tts.h"
#include "xmodem.h"
#include "tandrel_trace.h"

extern "C" {




// Audio engines and firmware loader: every call fails.
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

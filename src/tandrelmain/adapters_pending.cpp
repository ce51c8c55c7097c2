// Adapter entry points whose subsystems are not built yet: each says so and does nothing.
// A subsystem removes its functions from this file when it lands.
#include "tandrel_adapters.h"
#include "tandrel_trace.h"

int32_t at_tts_init(void) {
    TANDREL_TRACE(TRACE_LEVEL_ERROR, "text-to-speech adapter not built\n");
    return -1;
}

int32_t at_recorder_init(void) {
    TANDREL_TRACE(TRACE_LEVEL_ERROR, "recorder adapter not built\n");
    return -1;
}

extern "C" void AT_status_cb(void*) {}
extern "C" void AT_nmea_cb(int64_t, const char*, int32_t) {}
extern "C" void AT_nipara_cb(void*) {}

// Adapter entry points whose subsystems are not built yet: each says so and does nothing.
// A subsystem removes its functions from this file when it lands.
#include "tandrel_adapters.h"
#include "tandrel_trace.h"

extern "C" void AT_status_cb(void*) {}
extern "C" void AT_nmea_cb(int64_t, const char*, int32_t) {}
extern "C" void AT_nipara_cb(void*) {}

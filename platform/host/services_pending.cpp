// Service calls the host does not simulate yet: each says so and gives a neutral result.
// A simulated service removes its functions from this file when it lands.
#include "gpsclient.h"
#include "ipstack.h"
#include "module_info.h"
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

}  // extern "C"

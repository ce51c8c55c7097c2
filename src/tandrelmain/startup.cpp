// Start-up of the notify module 58, the GNSS client and the adapters, and the message-loop thread.
#include <cstring>

#include "gpsclient.h"
#include "osa.h"
#include "qsp_notify.h"
#include "tandrel_adapters.h"
#include "tandrel_core.h"
#include "tandrel_main.h"
#include "tandrel_trace.h"

void tandrel_main(void) {
    if (init_notify() == -1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "tandrel_main init_notify ERROR\n");
        return;
    }
    if (register_notify_handler(NOTIFY_MODULE_TANDREL, tandrel_notify_handler,
                                tandrel_event_dispatch) < 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "tandrel_main register_notify_ret error.\n");
        return;
    }

    GpsClientCallbacks callbacks;
    osa_memset_s(&callbacks, sizeof callbacks, 0, sizeof callbacks);
    callbacks.status_cb = AT_status_cb;
    callbacks.nmea_cb = AT_nmea_cb;
    callbacks.nipara_cb = AT_nipara_cb;
    gpsclient_init(&callbacks);

    // The adapters trace their own failures; the daemon runs on without
    // whatever failed. The recorder's is traced here as well.
    at_ipstack_init();
    at_tts_init();
    at_update_init();
    if (at_recorder_init() != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "TANDRELMAIN.C %d>Recorder_Init_F\n", __LINE__);
    }
}

extern "C" void* tandrel_msg_thread(void* /*arg*/) {
    QSP_MSG_Init("tandrel");
    QSP_UTIL_SockBaseRegEvtProc();
    return QSP_UTIL_SockBaseStart(nullptr);
}

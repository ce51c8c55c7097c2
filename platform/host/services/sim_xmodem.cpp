// Simulated firmware loader: the update partition's state and a transfer that takes the port as far
// as a host can show it.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host_env.h"
#include "tandrel_trace.h"
#include "xmodem.h"

// The partition is ready unless "<run dir>/bbou_state" holds another number;
// writing 0 there shows the refusal.
extern "C" int32_t xu_check_bbou_state(void) {
    char path[4096];
    int32_t state = 1;
    if (host_run_path("bbou_state", path, sizeof path)) {
        if (FILE* f = fopen(path, "r"); f != nullptr) {
            int v = 1;
            if (fscanf(f, "%d", &v) == 1) {
                state = v;
            }
            (void)fclose(f);
        }
    }
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO, "xmodem sim: update partition state %d\n", state);
    return state;
}

// A host has no loader to hand the port to. The start is accepted, traced and
// recorded in "<run dir>/xmodem_upg" (port and mode); on module types 0 and 2
// the daemon then sends nothing, which the simulated AT driver takes as the
// port handed to the transfer. On other types the start is answered OK.
extern "C" int32_t start_xmodem_upg(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        return -1;
    }
    const char mode = pIn->m_para_list[0].aucPara[0];
    char path[4096];
    if (host_run_path("xmodem_upg", path, sizeof path)) {
        if (FILE* f = fopen(path, "w"); f != nullptr) {
            (void)fprintf(f, "port %u mode %c\n", pIn->m_uindex, mode);
            (void)fclose(f);
        }
    }
    TANDREL_TRACE_TAG(
        "host", TRACE_LEVEL_INFO,
        "xmodem sim: port %u handed to the loader (mode %c); no transfer on this host\n",
        pIn->m_uindex, mode);
    pOut->m_retenum = 0;
    (void)snprintf(pOut->m_buffer, sizeof pOut->m_buffer, "%s", AT_TEXT_OK);
    pOut->m_length = static_cast<uint32_t>(strnlen(pOut->m_buffer, sizeof pOut->m_buffer));
    return 0;
}

// Notify module 62: registration, routing of the IP stack's events, channel-to-port mapping.
#include <array>
#include <cstddef>

#include "ipstack.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "ipstackatapi/ipstack_trace.h"
#include "qsp_notify.h"
#include "tandrel_adapters.h"

namespace {

using ReportBuilder = int32_t (*)(const void* record);

struct EventRow {
    uint32_t event;
    ReportBuilder build;
};

// Searched in this order. The second callback serves only the first three
// rows: link state, data and data arrival.
constexpr std::array<EventRow, 5> kEvents{{
    {IPSTACK_EVT_LINK_STATE, at_ipstack_ipstate_report},
    {IPSTACK_EVT_DATA, at_ipstack_ipdata_report},
    {IPSTACK_EVT_DATA_ARRIVAL, at_ipstack_iprcv_report},
    {IPSTACK_EVT_LATE_RESULT, at_ipstack_unsolid_ok_report},
    {IPSTACK_EVT_SERVER_STATE, at_ipstack_sockserv_report},
}};
constexpr size_t kPostedRows = 3;

int32_t route(size_t rows, uint32_t event, uintptr_t a1) {
    for (size_t i = 0; i < rows; ++i) {
        if (kEvents[i].event == event) {
            return kEvents[i].build(reinterpret_cast<const void*>(a1));
        }
    }
    return TANDREL_FAIL;
}

struct PortRow {
    uint32_t channel;
    uint32_t port;
};

constexpr std::array<PortRow, 7> kPorts{{
    {2, 6},
    {3, 3},
    {4, PCUI},
    {5, 49},
    {6, 50},
    {7, 51},
    {8, 52},
}};
// Every channel the service may name without a port of its own.
constexpr uint32_t IPSTACK_PORT_OTHER = 56;

}  // namespace

uint32_t ipstack_port_map(uint32_t channel) {
    for (const PortRow& r : kPorts) {
        if (r.channel == channel) {
            return r.port;
        }
    }
    return IPSTACK_PORT_OTHER;
}

extern "C" int32_t ipstack_notify_dispatch(uint32_t event, uintptr_t a1, uintptr_t /*a2*/) {
    return route(kEvents.size(), event, a1);
}

extern "C" int32_t ipstack_post_dispatch(uint32_t event, uintptr_t a1, uintptr_t /*a2*/) {
    return route(kPostedRows, event, a1);
}

int32_t at_ipstack_init(void) {
    if (register_notify_handler(NOTIFY_MODULE_IPSTACK, ipstack_notify_dispatch,
                                ipstack_post_dispatch) != 0) {
        IPSTACK_TRACE(TRACE_LEVEL_ERROR, "ipstack register to notify failed\n");
        return TANDREL_FAIL;
    }
    return TANDREL_OK;
}

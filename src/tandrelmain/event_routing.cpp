// Routing of module 58's events to their handlers, and the IP heartbeat timer event.
#include <iterator>

#include "gnss_control_events.h"
#include "ipstack.h"
#include "tandrel_core.h"
#include "tandrel_main.h"
#include "tandrel_trace.h"

namespace {

struct EventRow {
    uint32_t event;
    TandrelEventHandler handler;  // null: known, not served; answers -1
};

int32_t at_request_event(uintptr_t len, uintptr_t data) {
    return nl_syswatch_event_report(static_cast<uint32_t>(len), reinterpret_cast<const void*>(data));
}

int32_t hbe_timer_event(uintptr_t code, uintptr_t /*unused*/) {
    return nl_hbeevent_report(static_cast<uint32_t>(code));
}

// Searched in this order.
constexpr EventRow kEventTable[] = {
    {TANDREL_EVT_AT_REQUEST, at_request_event},
    {TANDREL_EVT_HBE_TIMER, hbe_timer_event},
    {58002, nl_gps_getcap_process},
    {58003, nl_gps_set_timeout_process},
    {58004, nl_gps_set_niallow_process},
    {58005, nl_gps_set_opermode_process},
    {58006, nl_gps_Control_fixsession_process},
    {58007, nl_gps_Set_NMEAlogging_process},
    {58008, nl_gps_set_gpsresetengine_process},
    {58009, nl_gps_set_agnssver_process},
    {58010, nl_gps_set_suplurl_process},
    {58011, nl_gps_injtime_process},
    {58012, nl_gps_injpos_process},
    {58013, nl_gps_clear_agnss_process},
    {58015, nl_gps_set_gnss_radio_process},
};
static_assert(std::size(kEventTable) == 15);

}  // namespace

extern "C" int32_t tandrel_event_dispatch(uint32_t event, uintptr_t a1, uintptr_t a2) {
    for (const EventRow& row : kEventTable) {
        if (row.event == event) {
            return row.handler != nullptr ? row.handler(a1, a2) : TANDREL_FAIL;
        }
    }
    return TANDREL_FAIL;
}

int32_t nl_hbeevent_report(uint32_t code) {
    const int c = static_cast<int>(code);
    TANDREL_TRACE(TRACE_LEVEL_INFO, "\r\n nl_hbeevent_report in  %d \r\n", c);
    switch (code) {
        case HBE_TIMER:
            TANDREL_TRACE(TRACE_LEVEL_INFO, "\r\n this is  hbe timer start1  %d \r\n", c);
            ipstack_hbecat_main();
            TANDREL_TRACE(TRACE_LEVEL_INFO, "\r\n  hbe timer start2 %d \r\n", c);
            return TANDREL_OK;
        case HBE_MAXTIMER:
            TANDREL_TRACE(TRACE_LEVEL_INFO, "\r\n this is  hbe MAXtimer %d \r\n", c);
            return ipstack_hbe_maxtime(3);
        case HBE_ONE_TIME:
            TANDREL_TRACE(TRACE_LEVEL_INFO, "\r\n this is  one time hbe start %d \r\n", c);
            ipstack_hbecat_main();
            return TANDREL_OK;
        default:
            TANDREL_TRACE(TRACE_LEVEL_INFO, "\r\n this is  not hbe timer %d \r\n", c);
            return TANDREL_FAIL;
    }
}

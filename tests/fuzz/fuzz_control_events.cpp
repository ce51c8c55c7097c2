// Any bytes as the payload of each GNSS control event, through the event table of module 58.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fake_gpsclient.h"
#include "fuzz_support.h"
#include "gps_adapter/gnss_state.h"
#include "gpsclient.h"
#include "tandrel_main.h"

namespace {

// The control events and the bytes each payload holds at least: a sender
// keeps to these, the rest of a payload is free.
struct Event {
    uint32_t id;
    size_t layout;
};
constexpr Event kEvents[] = {
    {58002, 8}, {58003, 1}, {58004, 1},  {58005, 1},  {58006, 3}, {58007, 1}, {58008, 0},
    {58009, 1}, {58010, 0}, {58011, 25}, {58012, 48}, {58013, 1}, {58015, 1},
};

constexpr const char* kClientCalls[] = {
    "gpsclient_WPCAP",       "gpsclient_startFix",        "gpsclient_stopFix",
    "gpsclient_sessionType", "gpsclient_freqAndInterval", "gpsclient_operateMode",
    "gpsclient_WNICT",       "gpsclient_SET_NITIMER",     "gpsclient_aidingData",
    "gpsclient_WPURL",       "gpsclient_AGNSSCFG",        "gpsclient_portCfg",
};

}  // namespace

// Input: byte 0 the event; byte 1 the adapter state (radio, the three users,
// NMEA logging, single port) and whether every client call fails; byte 2 the
// error code of the failures; the rest the payload. An input of one byte
// raises the event with a null payload.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    fuzz::reset();
    fake::gps().reset();
    gnss_adapter_reset();
    const Event& event = kEvents[data[0] % std::size(kEvents)];
    const uint8_t state = size > 1 ? data[1] : 0;
    const int32_t err = size > 2 ? 270 + data[2] % 24 : 0;
    fake::gps().radio((state & 1) != 0 ? GPS_RADIO_ON : GPS_RADIO_OFF);
    gnss_set(GnssValue::GnssPortFlag, fuzz::bit(state, 1));
    gnss_set(GnssValue::NmeaPortFlag, fuzz::bit(state, 2));
    gnss_set(GnssValue::FixsionFlag, fuzz::bit(state, 3));
    gnss_set(GnssValue::NmealoggingFlag, fuzz::bit(state, 4));
    gnss_set(GnssValue::PortCfg, fuzz::bit(state, 5));
    gnss_set(GnssValue::PortCfgReady, fuzz::bit(state, 6));
    if ((state & 0x80) != 0) {
        for (const char* fn : kClientCalls) {
            fake::gps().fail(fn, err);
        }
    }

    int32_t rc = 0;
    if (size == 1) {
        rc = tandrel_event_dispatch(event.id, 0, 0);
    } else {
        // As the bus hands it over: a copy with a zero byte behind it.
        const size_t n = size > 3 ? size - 3 : 0;
        std::vector<uint8_t> payload = fuzz::record(data + 3, n, std::max(n, event.layout) + 1);
        rc = tandrel_event_dispatch(event.id, reinterpret_cast<uintptr_t>(payload.data()), n);
    }
    fuzz::require(rc == 0 || rc == -1);
    fuzz::check_sent([](const AtResponse& r) {
        return r.m_length <= 255 && r.m_id == 58 && r.m_protocol == 1 && r.m_retenum == 0;
    });
    return 0;
}

// Any sentences, with any length and every flag combination, through the NMEA callback.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "gps_adapter/gnss_state.h"
#include "tandrel_adapters.h"

// Input: byte 0 the flags (NMEA port, GNSS port, fix session, logging, single
// port, configuration known, failing client), byte 1 how the length relates
// to the text, byte 2 a length offset, then sentences separated by '\n'.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) {
        return 0;
    }
    fuzz::reset();
    gnss_adapter_reset();
    const uint8_t flags = data[0];
    gnss_set(GnssValue::NmeaPortFlag, fuzz::bit(flags, 0));
    gnss_set(GnssValue::GnssPortFlag, fuzz::bit(flags, 1));
    gnss_set(GnssValue::FixsionFlag, fuzz::bit(flags, 2));
    gnss_set(GnssValue::NmealoggingFlag, fuzz::bit(flags, 3));
    gnss_set(GnssValue::PortCfg, fuzz::bit(flags, 4));
    gnss_set(GnssValue::PortCfgReady, fuzz::bit(flags, 5));
    if (fuzz::bit(flags, 6) != 0) {
        fake::gps().fail("gpsclient_portCfg", 283);
    }
    const uint8_t mode = data[1] % 4;
    const uint8_t offset = data[2];

    const uint8_t* p = data + 3;
    const uint8_t* end = data + size;
    int64_t timestamp = 0;
    while (p < end) {
        const uint8_t* nl =
            static_cast<const uint8_t*>(memchr(p, '\n', static_cast<size_t>(end - p)));
        const uint8_t* stop = nl != nullptr ? nl + 1 : end;
        const size_t n = static_cast<size_t>(stop - p);
        // A C string, as the client hands its sentences over; the length
        // beside it may claim less or more than the text holds.
        std::vector<char> text(p, stop);
        text.push_back('\0');
        int32_t length = static_cast<int32_t>(n);
        switch (mode) {
            case 1:
                length = static_cast<int32_t>(n) - offset;
                break;
            case 2:
                length = -1 - offset;
                break;
            case 3:
                length = INT32_MAX - offset;
                break;
            default:
                break;
        }
        AT_nmea_cb(timestamp, text.data(), length);
        timestamp += 1000;
        p = stop;
    }
    // Every report goes to a GNSS port.
    fuzz::check_sent([](const AtResponse& r) {
        return r.m_id == 58 && r.m_protocol == 1 &&
               (r.m_uindex == 6 || r.m_uindex == 54 || r.m_uindex == 55);
    });
    return 0;
}

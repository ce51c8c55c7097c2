// Any status and network-initiated request records through the GNSS client callbacks.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_support.h"
#include "gps_adapter/gnss_state.h"
#include "gpsclient.h"
#include "tandrel_adapters.h"

// Input: byte 0 the choices (NI or status record, ^POSEND switch, single port,
// a GNSS port that takes "$GPNIR"), then the record's bytes (zero-filled to
// its size, cut beyond it).
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    fuzz::reset();
    gnss_adapter_reset();
    const uint8_t flags = data[0];
    gnss_set(GnssValue::PosendFlag, fuzz::bit(flags, 1));
    gnss_set(GnssValue::PortCfg, fuzz::bit(flags, 2));
    gnss_set(GnssValue::PortCfgReady, 1);
    gnss_set(GnssValue::GnssPortFlag, fuzz::bit(flags, 3));
    gnss_set(GnssValue::NiTimer, (flags >> 4) * 17);

    const bool ni = (flags & 1) != 0;
    // Records of the size the client hands over.
    std::vector<uint8_t> record = fuzz::record(data + 1, size - 1, ni ? sizeof(GpsNiRecord) : 16);
    if (ni) {
        AT_nipara_cb(record.data());
    } else {
        AT_status_cb(record.data());
    }
    fuzz::check_sent([ni](const AtResponse& r) {
        const bool known = r.m_id == 58 || (r.m_id == 19 && ni) || (r.m_id == 20 && !ni);
        return r.m_length <= 255 && known && r.m_protocol == 1;
    });
    return 0;
}

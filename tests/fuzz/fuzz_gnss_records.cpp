// Any status and network-initiated request records through the GNSS client callbacks.
#include <cstddef>
#include <cstdint>
#include <cstring>
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
    fake::platform().reset();
    fake::services().reset();
    gnss_adapter_reset();
    const uint8_t flags = data[0];
    g_posendFlag = (flags >> 1) & 1;
    g_PortCfg = (flags >> 2) & 1;
    g_PortCfgReady = 1;
    g_gnssPortFlag = (flags >> 3) & 1;
    g_NiTimer = (flags >> 4) * 17;

    const bool ni = (flags & 1) != 0;
    // Heap records of exactly the size the client hands over, so a read past
    // them is caught.
    std::vector<uint8_t> record(ni ? sizeof(GpsNiRecord) : 16, 0);
    std::memcpy(record.data(), data + 1, std::min(size - 1, record.size()));
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

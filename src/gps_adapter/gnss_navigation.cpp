// Navigation receiver test: ^NAVTYPE, ^NAVENABLE, ^NAVFREQ and the ^NAVRX measurement.
#include "gnss_navigation.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "gnss_state.h"
#include "gps_at_handlers.h"
#include "gpsclient.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"

namespace {

// Test carriers in Hz: entry 0 the GPS L1 carrier, entries 1 to 14 the
// GLONASS L1 channels k = -7 .. +6 at 1602 MHz + k x 562.5 kHz.
constexpr size_t NAV_FREQ_COUNT = 15;

constexpr uint32_t kGpsL1 = 1575420000;
constexpr uint32_t kGlonassL1 = 1602000000;
constexpr uint32_t kGlonassStep = 562500;

constexpr uint32_t glonass_channel(int32_t k) {
    return static_cast<uint32_t>(static_cast<int64_t>(kGlonassL1) + k * int64_t{kGlonassStep});
}

// The GPS carrier, then the GLONASS channels -7 .. +6 in order.
constexpr std::array<uint32_t, NAV_FREQ_COUNT> nav_freq_table() {
    std::array<uint32_t, NAV_FREQ_COUNT> t{kGpsL1};
    for (size_t i = 1; i < t.size(); ++i) {
        t[i] = glonass_channel(static_cast<int32_t>(i) - 8);
    }
    return t;
}

// Results of the receiver test that no client error word gives.
constexpr int32_t kRetNotReady = 19;  // a query before the settings it needs
constexpr int32_t kRetRange = 20;     // a measurement past 16 bits
// A measurement call of the client failed; these calls carry no error word,
// so the module's own GNSS error number stands for them.
constexpr int32_t kRetClientFailed = GPS_RET_BAD_VALUE;

constexpr uint32_t kMhzLimit = 65536;
constexpr uint32_t kKhzMax = 999;
constexpr uint32_t kHzMax = 999;

bool present(const AtRequest* pIn, size_t i) {
    return pIn->m_para_list[i].aucPara[0] != '\0';
}

// Count rules of the receiver test sets: either way the count is wrong, 20.
constexpr char kCountTrace[] = "not enough or too many params!\r\n";
constexpr GnssCountRule kOneValue{
    1, 1, AT_RET_NO_HANDLER, kCountTrace, AT_RET_NO_HANDLER, kCountTrace};
constexpr GnssCountRule kFreqValues{
    1, 3, AT_RET_NO_HANDLER, kCountTrace, AT_RET_NO_HANDLER, kCountTrace};

// A set of one value that must lie in {lo, hi}: the count, then the value.
bool one_value_of_two(const AtRequest* pIn, AtResponse* pOut, int32_t lo, int32_t hi) {
    if (!gnss_count_ok(pIn, pOut, kOneValue)) {
        return false;
    }
    const int32_t v = gnss_value(pIn, 0);
    if (v != lo && v != hi) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "params incorrect!\r\n");
        at_set_error(pOut, GPS_RET_BAD_VALUE);
        return false;
    }
    return true;
}

// Restores the ^POSEND switch however the measurement ends.
class PosendOff {
  public:
    PosendOff() { gnss_set(GnssValue::PosendFlag, 0); }
    ~PosendOff() { gnss_set(GnssValue::PosendFlag, 1); }
    PosendOff(const PosendOff&) = delete;
    PosendOff& operator=(const PosendOff&) = delete;
};

const std::array<uint32_t, NAV_FREQ_COUNT> g_NavFreqTable = nav_freq_table();

// Set and read only by the receiver test commands on the message-loop
// thread; nothing here survives a restart.
int32_t g_NavType = NAV_TYPE_NONE;
int32_t g_NavTypeSet = 0;
int32_t g_NavEnable = 0;
int32_t g_NavFreqMhz = 0;
int32_t g_NavFreqKhz = 0;
int32_t g_NavFreqHz = 0;
int32_t g_NavFreqSet = 0;

}  // namespace

bool gnss_nav_freq_valid(int32_t nav_type, uint64_t f) {
    if (nav_type == NAV_TYPE_GPS) {
        return f == g_NavFreqTable[0];
    }
    if (nav_type == NAV_TYPE_GLONASS) {
        // The GPS carrier (entry 0) is no GLONASS channel.
        for (size_t i = 1; i < g_NavFreqTable.size(); ++i) {
            if (f == g_NavFreqTable[i]) {
                return true;
            }
        }
    }
    return false;
}

int32_t AT_GPS_SetNavType(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!one_value_of_two(pIn, pOut, NAV_TYPE_GPS, NAV_TYPE_GLONASS)) {
        return TANDREL_FAIL;
    }
    at_set_text(pOut, AT_TEXT_OK);
    g_NavType = gnss_value(pIn, 0);
    g_NavTypeSet = 1;
    return TANDREL_OK;
}

int32_t AT_GPS_ReadNavType(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (g_NavType > 3) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "params incorrect!\r\n");
        return gnss_refuse(pOut, kRetNotReady);
    }
    at_set_textf(pOut, "\r\n^NAVTYPE:%d\r\n\r\nOK\r\n", g_NavType);
    return TANDREL_OK;
}

int32_t AT_GPS_TestNavType(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    at_set_text(pOut,
                "\r\n^NAVTYPE:2\r\n^NAVTYPE:1,\"GPS\"\r\n^NAVTYPE:2,\"GLONASS\"\r\n\r\nOK\r\n");
    return TANDREL_OK;
}

int32_t AT_GPS_SetNavEnable(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (!one_value_of_two(pIn, pOut, 0, 1)) {
        return TANDREL_FAIL;
    }
    at_set_text(pOut, AT_TEXT_OK);
    g_NavEnable = gnss_value(pIn, 0);
    return TANDREL_OK;
}

// ^NAVENABLE and ^NAVFREQ offer no test text.
int32_t AT_GPS_TestNavEnable(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    at_set_text(pOut, AT_TEXT_ERROR);
    return TANDREL_OK;
}

int32_t AT_GPS_SetNavFreq(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    // The MHz part is required before the count is looked at.
    if (!present(pIn, 0)) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "params incorrect!\r\n");
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE);
    }
    const uint32_t count = pIn->m_para_count;
    if (!gnss_count_ok(pIn, pOut, kFreqValues)) {
        return TANDREL_FAIL;
    }
    for (size_t i = 1; i < count; ++i) {
        if (!present(pIn, i)) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "params incorrect!\r\n");
            return gnss_refuse(pOut, GPS_RET_BAD_VALUE);
        }
    }
    const uint32_t mhz = static_cast<uint32_t>(gnss_value(pIn, 0));
    const uint32_t khz = count >= 2 ? static_cast<uint32_t>(gnss_value(pIn, 1)) : 0;
    const uint32_t hz = count == 3 ? static_cast<uint32_t>(gnss_value(pIn, 2)) : 0;
    if (mhz >= kMhzLimit || khz > kKhzMax || hz > kHzMax) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "params incorrect!\r\n");
        return gnss_refuse(pOut, GPS_RET_BAD_VALUE);
    }
    // Up to 65,535,999,999 Hz: past 32 bits.
    const uint64_t f = uint64_t{mhz} * 1000000 + uint64_t{khz} * 1000 + hz;
    if (!gnss_nav_freq_valid(g_NavType, f)) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "frequency %u,%u,%u not valid for type %d!\r\n", mhz, khz,
                      hz, g_NavType);
        at_set_text(pOut, AT_TEXT_ERROR);
        return TANDREL_FAIL;
    }
    g_NavFreqMhz = static_cast<int32_t>(mhz);
    g_NavFreqKhz = static_cast<int32_t>(khz);
    g_NavFreqHz = static_cast<int32_t>(hz);
    at_set_text(pOut, AT_TEXT_OK);
    g_NavFreqSet = 1;
    return TANDREL_OK;
}

int32_t AT_GPS_ReadNavFreq(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (g_NavFreqSet != 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "not set!\r\n");
        return gnss_refuse(pOut, kRetNotReady);
    }
    at_set_textf(pOut, "\r\n^NAVFREQ:%d mhz,%d khz,%d hz\r\n\r\nOK\r\n", g_NavFreqMhz, g_NavFreqKhz,
                 g_NavFreqHz);
    return TANDREL_OK;
}

int32_t AT_GPS_TestNavFreq(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    at_set_text(pOut, AT_TEXT_ERROR);
    return TANDREL_OK;
}

// One measurement: the test carrier is set, a fix runs while the client
// measures, and the fix is stopped. The message-loop thread waits for the
// client the whole time (the command's 60 s time-out covers it).
int32_t AT_GPS_ReadNavRx(AtRequest* pIn, AtResponse* pOut) {
    if (gnss_null_params(pIn, pOut)) {
        return TANDREL_FAIL;
    }
    if (g_NavEnable != 1 || g_NavTypeSet != 1 || g_NavFreqSet != 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "AT_GPS_ReadNavRx: enable %d, type set %d, frequency set %d!\r\n",
                      g_NavEnable, g_NavTypeSet, g_NavFreqSet);
        return gnss_refuse(pOut, kRetNotReady);
    }
    if (gpsclient_set_type(g_NavType, g_NavFreqMhz, g_NavFreqKhz, g_NavFreqHz) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_ReadNavRx: set type failed!\r\n");
        return gnss_refuse(pOut, kRetClientFailed);
    }
    int32_t cn = 0;
    {
        // The status callback reports no ^POSEND for this fix. The switch is
        // off before the engine starts, so a report sent as it starts cannot
        // slip out, and on again on every way out.
        PosendOff posend_off;
        if (gpsclient_startFix(nullptr) == 0) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_ReadNavRx: start fix failed!\r\n");
            return gnss_refuse(pOut, kRetClientFailed);
        }
        if (gpsclient_qry_cn(&cn) == 0) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_ReadNavRx: query cn failed!\r\n");
            return gnss_refuse(pOut, kRetClientFailed);
        }
        if (gpsclient_stopFix(nullptr) == 0) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "AT_GPS_ReadNavRx: stop fix failed!\r\n");
            return gnss_refuse(pOut, kRetClientFailed);
        }
    }
    const int64_t v = int64_t{cn} * 10;
    if (v < INT16_MIN || v > INT16_MAX) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "params incorrect!\r\n");
        return gnss_refuse(pOut, kRetRange);
    }
    at_set_textf(pOut, "\r\n^NAVRX:%d\r\n\r\nOK\r\n", static_cast<int32_t>(v));
    return TANDREL_OK;
}

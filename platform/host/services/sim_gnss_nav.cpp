// Simulated GNSS client, continued: the receiver test measurement, C/N0 list, navigation query,
// position and the information and customization values.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "gpsclient.h"
#include "sim_gnss.h"
#include "tandrel_trace.h"

#define SIM_TRACE(level, ...) TANDREL_TRACE_TAG("host", level, __VA_ARGS__)

namespace {

constexpr int32_t kErrBadParam = 281;

constexpr int32_t kNavGps = 1;
constexpr int32_t kNavGlonass = 2;
constexpr int64_t kGpsL1Hz = 1575420000;
constexpr int64_t kGlonassL1Hz = 1602000000;
constexpr int64_t kGlonassStepHz = 562500;

// The receiver test's carrier-to-noise measurement takes this long, and
// reads this much on each carrier (dB-Hz).
constexpr auto kMeasurement = std::chrono::milliseconds(200);
constexpr int32_t kGpsCn = 45;
constexpr int32_t kGlonassCn = 42;

constexpr size_t kMaxSvs = 32;

struct NavState {
    std::mutex mu;
    int32_t test_type = 0;  // 0: no carrier set
    int64_t test_hz = 0;
    int32_t zqcust = 0;
};

NavState& nav() {
    static NavState* s = new NavState;
    return *s;
}

bool carrier_of(int32_t type, int64_t hz) {
    if (type == kNavGps) {
        return hz == kGpsL1Hz;
    }
    if (type == kNavGlonass) {
        for (int64_t k = -7; k <= 6; ++k) {
            if (hz == kGlonassL1Hz + k * kGlonassStepHz) {
                return true;
            }
        }
    }
    return false;
}

int32_t fail(int32_t* err, int32_t code) {
    if (err != nullptr) {
        *err = code;
    }
    return 0;
}

// The comma-separated fields of a sentence, up to its '*'.
std::vector<std::string> fields(const std::string& s) {
    std::vector<std::string> out;
    const size_t end = s.find('*');
    const std::string body = s.substr(0, end);
    size_t start = 0;
    for (;;) {
        const size_t c = body.find(',', start);
        out.push_back(body.substr(start, c == std::string::npos ? std::string::npos : c - start));
        if (c == std::string::npos) {
            return out;
        }
        start = c + 1;
    }
}

bool is(const std::string& sentence, const char* type) {
    return sentence.size() > 6 && sentence.compare(3, 3, type) == 0;
}

int atoi_or(const std::string& s, int dflt) {
    return s.empty() ? dflt : atoi(s.c_str());
}

// NMEA (d)ddmm.mmmm and its hemisphere as signed decimal degrees.
double degrees(const std::string& v, const std::string& hemi, int deg_digits) {
    if (v.size() < static_cast<size_t>(deg_digits)) {
        return 0.0;
    }
    const double d = atof(v.substr(0, static_cast<size_t>(deg_digits)).c_str()) +
                     atof(v.substr(static_cast<size_t>(deg_digits)).c_str()) / 60.0;
    return hemi == "S" || hemi == "W" ? -d : d;
}

// The satellites of the last epoch's GSV sentences: number and SNR (0 when
// not tracked).
std::vector<std::pair<int32_t, int32_t>> satellites(const std::vector<std::string>& epoch) {
    std::vector<std::pair<int32_t, int32_t>> out;
    for (const std::string& s : epoch) {
        if (!is(s, "GSV")) {
            continue;
        }
        // Blocks of number, elevation, azimuth and SNR from field 4 on.
        const std::vector<std::string> f = fields(s);
        for (size_t i = 4; i < f.size(); i += 4) {
            const size_t snr = i + 3;  // may lie past the last field
            if (!f[i].empty()) {
                out.emplace_back(atoi_or(f[i], 0), snr < f.size() ? atoi_or(f[snr], 0) : 0);
            }
        }
    }
    return out;
}

}  // namespace

extern "C" {

int32_t gpsclient_set_type(int32_t nav_type, int32_t mhz, int32_t khz, int32_t hz) {
    if (sim_gnss_failure("set_type", nullptr)) {
        return 0;
    }
    const int64_t f = int64_t{mhz} * 1000000 + int64_t{khz} * 1000 + hz;
    if (!carrier_of(nav_type, f)) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "sim gnss: no test carrier %d,%d,%d for system %d\n", mhz, khz,
                  hz, nav_type);
        return 0;
    }
    std::lock_guard<std::mutex> lock(nav().mu);
    nav().test_type = nav_type;
    nav().test_hz = f;
    return 1;
}

// Measures on the carrier set while the engine runs.
int32_t gpsclient_qry_cn(int32_t* cn) {
    if (sim_gnss_failure("qry_cn", nullptr) || cn == nullptr || !sim_gnss_engine_on()) {
        return 0;
    }
    int32_t type = 0;
    {
        std::lock_guard<std::mutex> lock(nav().mu);
        type = nav().test_type;
    }
    if (type == 0) {
        return 0;
    }
    std::this_thread::sleep_for(kMeasurement);
    *cn = type == kNavGps ? kGpsCn : kGlonassCn;
    return 1;
}

// The satellites in view while the engine runs, with the SNR of the last
// epoch; none while it is stopped.
int32_t gpsclient_svscno_list(GpsSvCnoList* list) {
    if (sim_gnss_failure("svscno_list", nullptr) || list == nullptr) {
        return 0;
    }
    list->count = 0;
    if (!sim_gnss_engine_on()) {
        return 1;
    }
    for (const auto& [sv, snr] : satellites(sim_gnss_last_epoch())) {
        if (static_cast<size_t>(list->count) == kMaxSvs) {
            break;
        }
        list->sv[list->count++] = GpsSvCno{sv, static_cast<float>(snr)};
    }
    return 1;
}

// Leading value: the fix quality of the last GGA; pairs: the satellites used
// in the fix (GSA) with their SNR (GSV).
int32_t gpsclient_NAVQUY(int32_t op, GpsNavQuyInfo* info, int32_t* err) {
    if (sim_gnss_failure("NAVQUY", err)) {
        return 0;
    }
    if (op != GPS_OP_GET || info == nullptr) {
        return fail(err, kErrBadParam);
    }
    const std::vector<std::string> epoch = sim_gnss_last_epoch();
    const auto svs = satellites(epoch);
    info->lead = 0;
    info->count = 0;
    for (const std::string& s : epoch) {
        const std::vector<std::string> f = fields(s);
        if (is(s, "GGA") && f.size() > 6) {
            info->lead = atoi_or(f[6], 0);
        }
        if (!is(s, "GSA")) {
            continue;
        }
        for (size_t i = 3; i <= 14 && i < f.size(); ++i) {
            if (f[i].empty() || static_cast<size_t>(info->count) == kMaxSvs) {
                continue;
            }
            const int32_t prn = atoi_or(f[i], 0);
            float snr = 0.0f;
            for (const auto& [sv, s2] : svs) {
                snr = sv == prn ? static_cast<float>(s2) : snr;
            }
            info->item[info->count++] = GpsNavQuyItem{prn, snr};
        }
    }
    return 1;
}

// The position of the last epoch replayed; all zero when it had no fix.
int32_t gpsclient_GnssPosition(int32_t op, GpsPositionInfo* pos, int32_t* err) {
    if (sim_gnss_failure("GnssPosition", err)) {
        return 0;
    }
    if (op != GPS_OP_GET || pos == nullptr) {
        return fail(err, kErrBadParam);
    }
    for (const std::string& s : sim_gnss_last_epoch()) {
        const std::vector<std::string> f = fields(s);
        if (!is(s, "GGA") || f.size() < 10 || atoi_or(f[6], 0) == 0) {
            continue;
        }
        pos->latitude = degrees(f[2], f[3], 2);
        pos->longitude = degrees(f[4], f[5], 3);
        pos->altitude = atof(f[9].c_str());
    }
    return 1;
}

// 1 while the engine runs, 0 while it is stopped or the radio is off.
int32_t gpsclient_WPINFO(int32_t op, int32_t* value, int32_t* err) {
    if (sim_gnss_failure("WPINFO", err)) {
        return 0;
    }
    if (op != GPS_OP_GET || value == nullptr) {
        return fail(err, kErrBadParam);
    }
    *value = sim_gnss_engine_on() ? 1 : 0;
    return 1;
}

int32_t gpsclient_ZQCUST(int32_t op, int32_t* value, int32_t* err) {
    if (sim_gnss_failure("ZQCUST", err)) {
        return 0;
    }
    if (value == nullptr || (op != GPS_OP_GET && op != GPS_OP_SET)) {
        return fail(err, kErrBadParam);
    }
    std::lock_guard<std::mutex> lock(nav().mu);
    if (op == GPS_OP_GET) {
        *value = nav().zqcust;
        return 1;
    }
    if (*value != 0 && *value != 1) {
        return fail(err, kErrBadParam);
    }
    nav().zqcust = *value;
    return 1;
}

}  // extern "C"

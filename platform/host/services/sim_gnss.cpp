// Simulated GNSS client: keeps its settings, honours the radio, replays NMEA on its own thread.
#include "sim_gnss.h"

#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "gpsclient.h"
#include "host_env.h"
#include "osa.h"
#include "qsp_notify.h"
#include "tandrel_trace.h"

#define SIM_TRACE(level, ...) TANDREL_TRACE_TAG("host", level, __VA_ARGS__)

namespace {

// Error codes of the client.
constexpr int32_t kErrRadioOff = 276;
constexpr int32_t kErrBadParam = 281;
constexpr int32_t kErrRunning = 283;

constexpr size_t kUrlMax = 128;
constexpr uint32_t kDefaultEpochMs = 1000;
constexpr uint32_t kMaxEpochMs = 60000;
constexpr int kColdStartEpochs = 3;  // epochs without a fix after each start

struct Settings {
    int32_t port_cfg = 0;
    int32_t radio = GPS_RADIO_ON;
    int32_t session_type = 0;
    int32_t times = 0;  // fixes per session; 0 = until stopped
    int32_t interval = 1;
    int32_t operate_mode = 0;
    int32_t locks = 0;
    int32_t any_data = 0;
    int32_t lpm = 0;
    int32_t supl_acap = 0;
    int32_t supl_feature = 0;
    int32_t ni_timer = 0;
    int32_t ni_allow = 0;
    int32_t ni_req_id = 0;
    char url[kUrlMax + 1] = {};
    GpsAgnssCfg agnss{1, 1, 2, 0};
};

struct Failure {
    std::string fn;  // without the "gpsclient_" prefix
    int32_t code;
    int32_t left;  // calls still to fail; -1 = every call
};

// Something to hand to a callback on the client's thread.
struct Deferred {
    enum Kind { Sentence, Status, Ni } kind;
    std::string text;
    int32_t words[4];  // Sentence: the length handed over with the text
};

// One epoch of sentences and the time to the next one.
struct Epoch {
    std::vector<std::string> sentences;
    uint32_t next_ms = kDefaultEpochMs;
};

using Clock = std::chrono::steady_clock;

struct Sim {
    std::mutex mu;
    std::condition_variable cv;
    GpsClientCallbacks cb{};
    bool started = false;  // thread running, environment applied
    Settings s;
    bool running = false;  // the engine is on
    uint64_t run_gen = 0;  // changes at each start and cold restart
    int epoch_index = 0;   // of the current run
    int fixes = 0;         // epochs with a fix delivered in this run
    std::vector<Failure> failures;
    std::deque<Deferred> deferred;
    std::vector<std::string> last_epoch;  // the sentences of the last epoch replayed
    std::vector<Epoch> file_track;  // empty: the built-in track
    size_t file_pos = 0;
    uint32_t speed = 1;
    bool delivering = false;       // a callback is running on the client's thread
    Clock::time_point next_due{};  // of the next epoch
    pthread_t thread{};
};

// Never destroyed: the client's thread may run while the process exits.
Sim& sim() {
    static Sim* s = new Sim;
    return *s;
}

// ---- sentences ------------------------------------------------------------

// "$<body>*<checksum>\r\n".
std::string nmea(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string nmea(const char* fmt, ...) {
    char body[160];
    va_list ap;
    va_start(ap, fmt);
    (void)vsnprintf(body, sizeof body, fmt, ap);  // a sentence past the buffer is cut
    va_end(ap);
    unsigned sum = 0;
    for (const char* p = body; *p != '\0'; ++p) {
        sum ^= static_cast<unsigned char>(*p);
    }
    char out[176];
    (void)snprintf(out, sizeof out, "$%s*%02X\r\n", body, sum);  // always fits
    return out;
}

// Degrees as NMEA (d)ddmm.mmmm with its hemisphere.
void nmea_angle(double deg, int deg_digits, char pos, char neg, char* out, size_t size,
                char* hemi) {
    *hemi = deg < 0 ? neg : pos;
    // In ten-thousandths of a minute, so rounding can carry into the degrees.
    const long total = std::lround(std::fabs(deg) * 60.0 * 10000.0);
    const int whole = static_cast<int>(total / 600000);
    const int minutes = static_cast<int>(total % 600000);
    (void)snprintf(out, size, "%0*d%02d.%04d", deg_digits, whole % 1000, minutes / 10000,
             minutes % 10000);
}

// The built-in track: a ride around a 150 m circle at 15 km/h, with the
// satellites slowly moving; the first epochs of each run have no fix yet.
Epoch builtin_epoch(int n) {
    const time_t now = time(nullptr);
    tm utc{};
    gmtime_r(&now, &utc);
    char hms[32];
    (void)snprintf(hms, sizeof hms, "%02d%02d%02d.00", utc.tm_hour, utc.tm_min, utc.tm_sec);
    char dmy[32];
    (void)snprintf(dmy, sizeof dmy, "%02d%02d%02d", utc.tm_mday, utc.tm_mon + 1, utc.tm_year % 100);

    constexpr double kCenterLat = 48.1173;
    constexpr double kCenterLon = 11.5167;
    constexpr double kRadius = 150.0;      // m
    constexpr double kSpeed = 15.0 / 3.6;  // m/s
    constexpr double kMetresPerDeg = 111320.0;
    constexpr double kPi = 3.14159265358979323846;
    const double theta = kSpeed * n / kRadius;
    const double lat = kCenterLat + kRadius * std::cos(theta) / kMetresPerDeg;
    const double lon = kCenterLon + kRadius * std::sin(theta) /
                                        (kMetresPerDeg * std::cos(kCenterLat * kPi / 180.0));
    // Clockwise from the north point of the circle: the course is 90° + theta.
    const double course = std::fmod(90.0 + theta * 180.0 / kPi, 360.0);
    const double alt = 545.4 + 1.5 * std::sin(theta * 3);

    struct Sv {
        int prn, elev, azim, snr;
    } svs[10] = {{4, 63, 137, 41},  {5, 61, 98, 39},  {9, 59, 290, 44},  {12, 54, 157, 36},
                 {17, 39, 223, 33}, {24, 28, 70, 31}, {25, 23, 252, 29}, {29, 14, 186, 27},
                 {2, 10, 300, 0},   {21, 5, 40, 0}};
    for (Sv& sv : svs) {
        sv.azim = (sv.azim + n / 20) % 360;
        if (sv.snr != 0) {
            sv.snr += (n + sv.prn) % 5 - 2;
        }
    }

    Epoch e;
    const bool fix = n >= kColdStartEpochs;
    char la[16], lo[16], ns, ew;
    nmea_angle(lat, 2, 'N', 'S', la, sizeof la, &ns);
    nmea_angle(lon, 3, 'E', 'W', lo, sizeof lo, &ew);
    if (fix) {
        e.sentences.push_back(
            nmea("GPGGA,%s,%s,%c,%s,%c,1,08,0.9,%.1f,M,47.0,M,,", hms, la, ns, lo, ew, alt));
        e.sentences.push_back(nmea("GPGSA,A,3,04,05,09,12,17,24,25,29,,,,,1.6,0.9,1.3"));
    } else {
        e.sentences.push_back(nmea("GPGGA,%s,,,,,0,00,99.9,,M,,M,,", hms));
        e.sentences.push_back(nmea("GPGSA,A,1,,,,,,,,,,,,,99.9,99.9,99.9"));
    }
    for (int i = 0; i < 3; ++i) {
        std::string body = "GPGSV,3," + std::to_string(i + 1) + ",10";
        for (int j = 4 * i; j < 4 * i + 4 && j < 10; ++j) {
            char sv[32];
            const int snr = fix ? svs[j].snr : 0;
            if (snr > 0) {
                (void)snprintf(sv, sizeof sv, ",%02d,%02d,%03d,%02d", svs[j].prn, svs[j].elev,
                         svs[j].azim, snr);
            } else {
                (void)snprintf(sv, sizeof sv, ",%02d,%02d,%03d,", svs[j].prn, svs[j].elev, svs[j].azim);
            }
            body += sv;
        }
        e.sentences.push_back(nmea("%s", body.c_str()));
    }
    if (fix) {
        e.sentences.push_back(nmea("GPRMC,%s,A,%s,%c,%s,%c,%.2f,%.1f,%s,,,A", hms, la, ns, lo, ew,
                                   kSpeed * 3.6 / 1.852, course, dmy));
        e.sentences.push_back(nmea("GPZQLOC,2.5,%.1f,0.0", kSpeed * 3.6));
    } else {
        e.sentences.push_back(nmea("GPRMC,%s,V,,,,,,,%s,,,N", hms, dmy));
        e.sentences.push_back(nmea("GPZQLOC,,,"));
    }
    return e;
}

bool epoch_has_fix(const Epoch& e) {
    for (const std::string& s : e.sentences) {
        if (s.compare(3, 3, "GGA") == 0) {
            // Field 6, the fix quality.
            size_t p = 0;
            for (int commas = 0; commas < 6 && p != std::string::npos; ++commas) {
                p = s.find(',', p == 0 ? 0 : p + 1);
            }
            return p != std::string::npos && p + 1 < s.size() && s[p + 1] != '0' && s[p + 1] != ',';
        }
    }
    return false;
}

// ---- tracks from files ----------------------------------------------------

// Milliseconds since midnight of an NMEA time field hhmmss[.sss], or -1.
int64_t nmea_time_ms(const std::string& sentence) {
    const size_t c = sentence.find(',');
    if (c == std::string::npos || sentence.size() < c + 7) {
        return -1;
    }
    const char* t = sentence.c_str() + c + 1;
    for (int i = 0; i < 6; ++i) {
        if (t[i] < '0' || t[i] > '9') {
            return -1;
        }
    }
    const int h = (t[0] - '0') * 10 + (t[1] - '0');
    const int m = (t[2] - '0') * 10 + (t[3] - '0');
    const int sec = (t[4] - '0') * 10 + (t[5] - '0');
    double frac = 0;
    if (t[6] == '.') {
        frac = strtod(t + 6, nullptr);
    }
    return (static_cast<int64_t>(h) * 3600 + static_cast<int64_t>(m) * 60 + sec) * 1000 +
           static_cast<int64_t>(frac * 1000);
}

// A new epoch begins at each GGA (at each RMC when the file has no GGA);
// the time between epochs is that of their time fields.
bool load_track(const char* path, std::vector<Epoch>* out) {
    FILE* f = fopen(path, "r");
    if (f == nullptr) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "sim gnss: cannot open track %s, errno %d\n", path, errno);
        return false;
    }
    std::vector<std::string> lines;
    char buf[512];
    bool has_gga = false;
    while (fgets(buf, sizeof buf, f) != nullptr) {
        std::string line = buf;
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
            line.pop_back();
        }
        if (line.size() < 6 || (line[0] != '$' && line[0] != '!')) {
            continue;
        }
        has_gga = has_gga || line.compare(3, 3, "GGA") == 0;
        lines.push_back(line + "\r\n");
    }
    (void)fclose(f);  // read only: nothing to lose
    const char* starter = has_gga ? "GGA" : "RMC";
    std::vector<Epoch> track;
    std::vector<int64_t> times;
    for (const std::string& line : lines) {
        if (track.empty() || line.compare(3, 3, starter) == 0) {
            track.emplace_back();
            times.push_back(nmea_time_ms(line));
        }
        track.back().sentences.push_back(line);
    }
    for (size_t i = 0; i + 1 < track.size(); ++i) {
        int64_t d = times[i + 1] - times[i];
        if (times[i] >= 0 && times[i + 1] >= 0 && d < 0) {
            d += int64_t{24} * 3600 * 1000;  // past midnight
        }
        track[i].next_ms = times[i] >= 0 && times[i + 1] >= 0 && d > 0 && d <= kMaxEpochMs
                               ? static_cast<uint32_t>(d)
                               : kDefaultEpochMs;
    }
    if (track.empty()) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "sim gnss: no sentences in %s\n", path);
        return false;
    }
    SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: track %s, %zu epochs\n", path, track.size());
    *out = std::move(track);
    return true;
}

// ---- the client's thread ----------------------------------------------------

int64_t now_ms() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

void deliver(const GpsClientCallbacks& cb, const Deferred& d) {
    switch (d.kind) {
        case Deferred::Sentence:
            if (cb.nmea_cb != nullptr) {
                cb.nmea_cb(now_ms(), d.text.c_str(), d.words[0]);
            }
            break;
        case Deferred::Status:
            if (cb.status_cb != nullptr) {
                int32_t words[4];
                memcpy(words, d.words, sizeof words);
                cb.status_cb(words);
            }
            break;
        case Deferred::Ni:
            if (cb.nipara_cb != nullptr) {
                GpsNiRecord r{};
                r.req_type = d.words[0];
                r.req_id = d.words[1];
                strncpy_s(r.text, sizeof r.text, d.text.c_str(), d.text.size());
                cb.nipara_cb(&r);
            }
            break;
    }
}

// The next epoch of the run; called with the lock held.
Epoch next_epoch(Sim& m) {
    if (!m.file_track.empty()) {
        if (m.file_pos >= m.file_track.size()) {
            m.file_pos = 0;
        }
        return m.file_track[m.file_pos++];
    }
    return builtin_epoch(m.epoch_index);
}

// Callbacks are called without the lock: the adapter calls the client back
// from inside them.
void* client_thread(void*) {
    Sim& m = sim();
    std::unique_lock<std::mutex> lock(m.mu);
    m.thread = pthread_self();
    for (;;) {
        m.cv.wait(lock,
                  [&] { return !m.deferred.empty() || (m.running && m.s.radio == GPS_RADIO_ON); });
        if (!m.deferred.empty()) {
            const Deferred d = m.deferred.front();
            m.deferred.pop_front();
            const GpsClientCallbacks cb = m.cb;
            m.delivering = true;
            lock.unlock();
            deliver(cb, d);
            lock.lock();
            m.delivering = false;
            m.cv.notify_all();
            continue;
        }
        const uint64_t gen = m.run_gen;
        if (Clock::now() < m.next_due) {
            m.cv.wait_until(lock, m.next_due, [&] {
                return !m.deferred.empty() || !m.running || m.s.radio != GPS_RADIO_ON ||
                       m.run_gen != gen;
            });
            continue;
        }
        const Epoch e = next_epoch(m);
        m.last_epoch = e.sentences;
        const bool fix = epoch_has_fix(e);
        ++m.epoch_index;
        m.fixes += fix ? 1 : 0;
        const bool last = m.s.times > 0 && m.fixes >= m.s.times;
        const int fixes = m.fixes;
        // A stop takes effect before the next sentence, not only after the
        // epoch.
        for (const std::string& s : e.sentences) {
            if (!m.running || m.run_gen != gen || m.s.radio != GPS_RADIO_ON) {
                break;
            }
            const GpsClientCallbacks cb = m.cb;
            m.delivering = true;
            lock.unlock();
            deliver(cb, Deferred{Deferred::Sentence, s, {static_cast<int32_t>(s.size())}});
            lock.lock();
            m.delivering = false;
            m.cv.notify_all();
        }
        if (m.run_gen != gen) {
            continue;
        }
        m.next_due = Clock::now() + std::chrono::milliseconds(e.next_ms / m.speed);
        if (last && m.running) {
            // The session had its fixes: the engine stops and says so.
            m.running = false;
            SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: %d fixes delivered, engine stopped\n", fixes);
            m.deferred.push_back(Deferred{Deferred::Status, "", {0, 0, fixes, 1}});
        }
    }
    return nullptr;
}

// ---- calls ----------------------------------------------------------------

// A failure the controls asked for; called with the lock held.
bool injected(Sim& m, const char* fn, int32_t* err) {
    for (size_t i = 0; i < m.failures.size(); ++i) {
        Failure& f = m.failures[i];
        if (f.fn != fn) {
            continue;
        }
        if (err != nullptr) {
            *err = f.code;
        }
        SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: gpsclient_%s fails with %d as asked\n", fn, f.code);
        if (f.left > 0 && --f.left == 0) {
            m.failures.erase(m.failures.begin() + static_cast<std::ptrdiff_t>(i));
        }
        return true;
    }
    return false;
}

int32_t fail(int32_t* err, int32_t code) {
    if (err != nullptr) {
        *err = code;
    }
    return 0;
}

// A call with an operation code on one stored value. ok() says whether a
// value may be set.
int32_t value_call(const char* fn, int32_t op, int32_t* value, int32_t* err,
                   int32_t Settings::*field, bool (*ok)(int32_t) = nullptr) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, fn, err)) {
        return 0;
    }
    if (value == nullptr || (op != GPS_OP_SET && op != GPS_OP_GET)) {
        return fail(err, kErrBadParam);
    }
    if (op == GPS_OP_GET) {
        *value = m.s.*field;
        return 1;
    }
    if (ok != nullptr && !ok(*value)) {
        return fail(err, kErrBadParam);
    }
    m.s.*field = *value;
    return 1;
}

// The next run starts from the first epoch, which comes one epoch period
// after the start, as a receiver's first output does.
void start_cold(Sim& m) {
    ++m.run_gen;
    m.epoch_index = 0;
    m.fixes = 0;
    m.file_pos = 0;
    m.next_due = Clock::now() + std::chrono::milliseconds(kDefaultEpochMs / m.speed);
}

// ---- controls -------------------------------------------------------------

// The values "set" may change, by the name of their call.
struct NamedValue {
    const char* fn;
    int32_t Settings::*field;
};
constexpr NamedValue kNamedValues[] = {
    {"portCfg", &Settings::port_cfg},
    {"WPCAP", &Settings::radio},
    {"sessionType", &Settings::session_type},
    {"operateMode", &Settings::operate_mode},
    {"locks", &Settings::locks},
    {"anyData", &Settings::any_data},
    {"WPLPM", &Settings::lpm},
    {"SuplAutonomousCapable", &Settings::supl_acap},
    {"suplfeature", &Settings::supl_feature},
};

std::string strip_prefix(const std::string& fn) {
    const std::string prefix = "gpsclient_";
    return fn.compare(0, prefix.size(), prefix) == 0 ? fn.substr(prefix.size()) : fn;
}

int32_t command(const char* line) {
    if (line == nullptr) {
        return -1;
    }
    char word[32] = {};
    int used = 0;
    if (sscanf(line, " %31s%n", word, &used) != 1) {
        return 0;  // blank
    }
    const char* rest = line + used;
    while (*rest == ' ') {
        ++rest;
    }
    Sim& m = sim();
    std::unique_lock<std::mutex> lock(m.mu);
    const std::string w = word;
    if (w == "fail") {
        char fn[64] = {};
        char count[16] = {};
        int code = 0;
        const int n = sscanf(rest, "%63s %d %15s", fn, &code, count);
        if (n < 2) {
            return -1;
        }
        const int32_t left = n < 3 ? 1 : (strcmp(count, "always") == 0 ? -1 : atoi(count));
        if (left == 0) {
            return -1;
        }
        m.failures.push_back(Failure{strip_prefix(fn), code, left});
    } else if (w == "set") {
        char fn[64] = {};
        int v = 0;
        if (sscanf(rest, "%63s %d", fn, &v) != 2) {
            return -1;
        }
        const std::string name = strip_prefix(fn);
        const NamedValue* nv = nullptr;
        for (const NamedValue& n : kNamedValues) {
            nv = name == n.fn ? &n : nv;
        }
        if (nv == nullptr) {
            return -1;
        }
        m.s.*(nv->field) = v;
    } else if (w == "clear") {
        m.failures.clear();
    } else if (w == "radio") {
        const int v = atoi(rest);
        if (v != GPS_RADIO_OFF && v != GPS_RADIO_ON) {
            return -1;
        }
        m.s.radio = v;
    } else if (w == "ni") {
        int type = 0;
        int id = 0;
        int len = 0;
        if (sscanf(rest, "%d %d %n", &type, &id, &len) < 2) {
            return -1;
        }
        m.deferred.push_back(Deferred{Deferred::Ni, rest + len, {type, id, 0, 0}});
    } else if (w == "status") {
        int w2 = 0;
        int w3 = 0;
        if (sscanf(rest, "%d %d", &w2, &w3) != 2) {
            return -1;
        }
        m.deferred.push_back(Deferred{Deferred::Status, "", {0, 0, w2, w3}});
    } else if (w == "nmea") {
        std::string s = rest;
        if (s.size() < 2 || s.compare(s.size() - 2, 2, "\r\n") != 0) {
            s += "\r\n";
        }
        m.deferred.push_back(Deferred{Deferred::Sentence, s, {static_cast<int32_t>(s.size())}});
    } else if (w == "sentence") {
        // The text as typed, handed over with a length of the caller's choosing.
        int length = 0;
        int at = 0;
        if (sscanf(rest, "%d %n", &length, &at) < 1) {
            return -1;
        }
        m.deferred.push_back(Deferred{Deferred::Sentence, rest + at, {length}});
    } else if (w == "speed") {
        const int v = atoi(rest);
        if (v < 1) {
            return -1;
        }
        m.speed = static_cast<uint32_t>(v);
    } else if (w == "track") {
        std::vector<Epoch> track;
        if (strcmp(rest, "builtin") != 0) {
            lock.unlock();
            if (!load_track(rest, &track)) {
                return -1;
            }
            lock.lock();
        }
        m.file_track = std::move(track);
        start_cold(m);
    } else if (w == "reset") {
        // Whatever callback is on its way ends first (unless this is it).
        if (!pthread_equal(m.thread, pthread_self())) {
            m.cv.wait(lock, [&] { return !m.delivering; });
        }
        m.s = Settings{};
        m.running = false;
        m.failures.clear();
        m.deferred.clear();
        m.file_track.clear();
        m.last_epoch.clear();
        m.speed = 1;
        start_cold(m);
    } else {
        return -1;
    }
    m.cv.notify_all();
    return 0;
}

int32_t notify_command(uint32_t event, uintptr_t a1, uintptr_t a2) {
    if (event != SIM_GNSS_EVT_COMMAND || a2 == 0) {
        return -1;
    }
    // (length, pointer to a copy of the text); the text need not end in NUL.
    const std::string text(reinterpret_cast<const char*>(a2),
                           strnlen(reinterpret_cast<const char*>(a2), a1));
    const int32_t r = command(text.c_str());
    if (r != 0) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "sim gnss: unknown command \"%s\"\n", text.c_str());
    }
    return r;
}

// Applies TANDREL_SIM_GNSS and TANDREL_SIM_NMEA.
void apply_environment() {
    if (const char* track = getenv("TANDREL_SIM_NMEA"); track != nullptr && track[0] != '\0') {
        const std::string cmd = std::string("track ") + track;
        command(cmd.c_str());
    }
    int64_t speed = 0;
    if (host_env_number("TANDREL_SIM_NMEA_SPEED", 1, 1000, &speed)) {
        command(("speed " + std::to_string(speed)).c_str());
    }
    if (const char* cmds = getenv("TANDREL_SIM_GNSS"); cmds != nullptr) {
        std::string all = cmds;
        size_t start = 0;
        while (start <= all.size()) {
            const size_t end = all.find(';', start);
            const std::string one =
                all.substr(start, end == std::string::npos ? std::string::npos : end - start);
            if (command(one.c_str()) != 0) {
                SIM_TRACE(TRACE_LEVEL_ERROR,
                          "sim gnss: TANDREL_SIM_GNSS command \"%s\" not known\n", one.c_str());
            }
            if (end == std::string::npos) {
                break;
            }
            start = end + 1;
        }
    }
}

}  // namespace

int32_t sim_gnss_command(const char* line) {
    const int32_t r = command(line);
    if (r != 0) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "sim gnss: unknown command \"%s\"\n",
                  line != nullptr ? line : "");
    }
    return r;
}

bool sim_gnss_failure(const char* fn, int32_t* err) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    return injected(m, fn, err);
}

bool sim_gnss_engine_on() {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    return m.running && m.s.radio == GPS_RADIO_ON;
}

std::vector<std::string> sim_gnss_last_epoch() {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    return m.last_epoch;
}


extern "C" {

int32_t gpsclient_init(GpsClientCallbacks* callbacks) {
    Sim& m = sim();
    bool first = false;
    {
        std::lock_guard<std::mutex> lock(m.mu);
        if (callbacks != nullptr) {
            m.cb = *callbacks;
        }
        first = !m.started;
        m.started = true;
    }
    if (!first) {
        return 1;
    }
    apply_environment();
    if (register_notify_handler(SIM_GNSS_NOTIFY_MODULE, nullptr, notify_command) != 0) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "sim gnss: controls not on the notify bus\n");
    }
    if (osa_pthread_create("sim_gnss", 0, 0, client_thread, nullptr) == 0) {
        SIM_TRACE(TRACE_LEVEL_ERROR, "sim gnss: client thread not started\n");
        return 0;
    }
    SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: client started\n");
    return 1;
}

int32_t gpsclient_startFix(int32_t* err) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "startFix", err)) {
        return 0;
    }
    if (m.s.radio != GPS_RADIO_ON) {
        return fail(err, kErrRadioOff);
    }
    if (!m.running) {
        m.running = true;
        start_cold(m);
        SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: engine started\n");
        m.cv.notify_all();
    }
    return 1;
}

int32_t gpsclient_stopFix(int32_t* err) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "stopFix", err)) {
        return 0;
    }
    if (m.running) {
        m.running = false;
        SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: engine stopped\n");
        m.cv.notify_all();
    }
    return 1;
}

int32_t gpsclient_portCfg(int32_t op, int32_t* value, int32_t* err) {
    return value_call("portCfg", op, value, err, &Settings::port_cfg,
                      [](int32_t v) { return v == 0 || v == 1; });
}

// The replay pauses while the radio is off and goes on when it is back.
int32_t gpsclient_WPCAP(int32_t op, int32_t* state, int32_t* err) {
    const int32_t r = value_call("WPCAP", op, state, err, &Settings::radio,
                                 [](int32_t v) { return v == GPS_RADIO_OFF || v == GPS_RADIO_ON; });
    sim().cv.notify_all();
    return r;
}

// The session type cannot change under a running engine.
int32_t gpsclient_sessionType(int32_t op, int32_t* type, int32_t* err) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "sessionType", err)) {
        return 0;
    }
    if (type == nullptr || (op != GPS_OP_SET && op != GPS_OP_GET)) {
        return fail(err, kErrBadParam);
    }
    if (op == GPS_OP_GET) {
        *type = m.s.session_type;
        return 1;
    }
    if (m.running) {
        return fail(err, kErrRunning);
    }
    if (*type < 0 || *type > 2) {
        return fail(err, kErrBadParam);
    }
    m.s.session_type = *type;
    return 1;
}

int32_t gpsclient_freqAndInterval(int32_t op, int32_t* times, int32_t* interval, int32_t* err,
                                  int32_t count) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "freqAndInterval", err)) {
        return 0;
    }
    if (times == nullptr || interval == nullptr) {
        return fail(err, kErrBadParam);
    }
    if (op == GPS_OP_GET) {
        *times = m.s.times;
        *interval = m.s.interval;
        return 1;
    }
    if (op != GPS_OP_SET || count < 1 || count > 2 || *times < 0 || *times > 65535 ||
        (count == 2 && (*interval < 1 || *interval > 1800))) {
        return fail(err, kErrBadParam);
    }
    m.s.times = *times;
    if (count == 2) {
        m.s.interval = *interval;
    }
    return 1;
}

int32_t gpsclient_operateMode(int32_t op, int32_t* mode, int32_t* err) {
    return value_call("operateMode", op, mode, err, &Settings::operate_mode,
                      [](int32_t v) { return v == 0 || v == 1 || v == 5; });
}

int32_t gpsclient_WNICT(int32_t op, int32_t* allow, int32_t* req_id, int32_t* err) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "WNICT", err)) {
        return 0;
    }
    if (op != GPS_OP_SET || allow == nullptr || req_id == nullptr || *allow < 0 || *allow > 1) {
        return fail(err, kErrBadParam);
    }
    m.s.ni_allow = *allow;
    m.s.ni_req_id = *req_id;
    SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: NI request %d %s\n", *req_id,
              *allow != 0 ? "allowed" : "refused");
    return 1;
}

int32_t gpsclient_SET_NITIMER(int32_t* value) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "SET_NITIMER", nullptr) || value == nullptr) {
        return 0;
    }
    m.s.ni_timer = *value;
    return 1;
}

// Deleting aiding data or resetting the engine makes the next fix a cold one.
int32_t gpsclient_aidingData(int32_t op, int32_t* value, int32_t* err) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "aidingData", err)) {
        return 0;
    }
    if (op != GPS_OP_SET || value == nullptr || *value < 0 || *value > 6) {
        return fail(err, kErrBadParam);
    }
    start_cold(m);
    m.cv.notify_all();
    return 1;
}

int32_t gpsclient_WPURL(int32_t op, char* address, int32_t length, int32_t* err) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "WPURL", err)) {
        return 0;
    }
    if (address == nullptr) {
        return fail(err, kErrBadParam);
    }
    if (op == GPS_OP_GET) {
        memcpy(address, m.s.url, sizeof m.s.url);
        return 1;
    }
    if (op != GPS_OP_SET || length < 0 || static_cast<size_t>(length) > kUrlMax) {
        return fail(err, kErrBadParam);
    }
    memset(m.s.url, 0, sizeof m.s.url);
    memcpy(m.s.url, address, static_cast<size_t>(length));
    return 1;
}

int32_t gpsclient_AGNSSCFG(int32_t op, GpsAgnssCfg* cfg, int32_t* err) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "AGNSSCFG", err)) {
        return 0;
    }
    if (cfg == nullptr) {
        return fail(err, kErrBadParam);
    }
    if (op == GPS_OP_GET) {
        *cfg = m.s.agnss;
        return 1;
    }
    if (op != GPS_OP_SET || cfg->supl_ver < 1 || cfg->supl_ver > 2) {
        return fail(err, kErrBadParam);
    }
    m.s.agnss = *cfg;
    return 1;
}

int32_t gpsclient_locks(int32_t op, int32_t* value, int32_t* err) {
    return value_call("locks", op, value, err, &Settings::locks,
                      [](int32_t v) { return v >= 0 && v <= 3; });
}

int32_t gpsclient_anyData(int32_t op, int32_t* value, int32_t* err) {
    return value_call("anyData", op, value, err, &Settings::any_data,
                      [](int32_t v) { return v >= 0 && v <= 12; });
}

int32_t gpsclient_WPLPM(int32_t op, int32_t* mode, int32_t* err) {
    return value_call("WPLPM", op, mode, err, &Settings::lpm,
                      [](int32_t v) { return v == 0 || v == 1; });
}

int32_t gpsclient_SuplAutonomousCapable(int32_t op, int32_t* value, int32_t* err) {
    return value_call("SuplAutonomousCapable", op, value, err, &Settings::supl_acap,
                      [](int32_t v) { return v == 0 || v == 1; });
}

int32_t gpsclient_suplfeature(int32_t op, int32_t* value, int32_t* err) {
    return value_call("suplfeature", op, value, err, &Settings::supl_feature,
                      [](int32_t v) { return v == 0 || v == 1; });
}

int32_t gpsclient_send_nitext(const char* text, int32_t length, int32_t* err) {
    Sim& m = sim();
    std::lock_guard<std::mutex> lock(m.mu);
    if (injected(m, "send_nitext", err)) {
        return 0;
    }
    if (text == nullptr || length < 0) {
        return fail(err, kErrBadParam);
    }
    SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: NI notification text \"%.*s\"\n", length, text);
    return 1;
}

}  // extern "C"

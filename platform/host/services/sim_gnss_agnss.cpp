// Simulated GNSS client, assistance side: TLS certificate store, LTO and reference-time locks,
// configuration and LTO uploads assembled from their chunks, reference time and position.
#include "sim_gnss_agnss.h"

#include <cmath>
#include <cstring>
#include <mutex>
#include <vector>

#include "tandrel_trace.h"

#define SIM_TRACE(level, ...) TANDREL_TRACE_TAG("host", level, __VA_ARGS__)

namespace {

constexpr int32_t kErrBadParam = 281;
constexpr uint32_t kTlsChunk = 300;
constexpr uint32_t kTlsMax = sizeof(GpsTlsCfg::data);
constexpr size_t kXmlChunkMax = 384;
constexpr int32_t kLtoChunkMax = 256;

// One upload being assembled: chunk 1 starts it, the others follow in order
// under the same total, and the last one applies it.
struct Upload {
    int32_t total = 0;
    int32_t next = 0;  // index expected next; 0 = no upload in progress
    std::vector<uint8_t> bytes;
};

struct State {
    uint32_t tls_len = 0;
    uint32_t tls_chunks = 0;  // chunks held, from 1 without a gap
    uint32_t tls_chars = 0;
    char tls[kTlsMax] = {};
    int32_t lto_lock = 0;
    int32_t injtime_lock = 0;
    Upload xml;
    Upload lto;
    SimAgnssStatus status{};
};

std::mutex g_mu;

State& state() {
    static State* s = new State;  // never destroyed: calls may come while the process exits
    return *s;
}

int32_t refuse(int32_t* err, const char* what, const char* why) {
    SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: %s refused: %s\n", what, why);
    if (err != nullptr) {
        *err = kErrBadParam;
    }
    return 0;
}

int32_t lock_call(const char* what, int32_t op, int32_t* value, int32_t* err, int32_t State::*field) {
    if (value == nullptr) {
        return refuse(err, what, "no value");
    }
    const std::lock_guard<std::mutex> lock(g_mu);
    if (op == GPS_OP_GET) {
        *value = state().*field;
        return 1;
    }
    if (op != GPS_OP_SET || (*value != 0 && *value != 1)) {
        return refuse(err, what, "a lock is 0 or 1");
    }
    state().*field = *value;
    return 1;
}

// Takes one chunk into an upload; true when it completed the upload.
bool take_chunk(Upload& u, const char* what, int32_t total, int32_t index, const uint8_t* data,
                size_t n, int32_t* err, bool* refused) {
    *refused = false;
    if (total <= 0 || index <= 0 || index > total) {
        *refused = true;
        refuse(err, what, "chunk number outside 1..total");
        return false;
    }
    if (index == 1) {
        u = Upload{total, 1, {}};
    } else if (u.next != index || u.total != total) {
        SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: %s chunk %d of %d, expected %d of %d; upload dropped\n",
                  what, index, total, u.next, u.total);
        u = Upload{};
        *refused = true;
        refuse(err, what, "chunk out of order");
        return false;
    }
    u.bytes.insert(u.bytes.end(), data, data + n);
    u.next = index + 1;
    return index == total;
}

}  // namespace

SimAgnssStatus sim_gnss_agnss_status(void) {
    const std::lock_guard<std::mutex> lock(g_mu);
    return state().status;
}

void sim_gnss_agnss_reset(void) {
    const std::lock_guard<std::mutex> lock(g_mu);
    state() = State{};
}

extern "C" {

int32_t gpsclient_TLSCFG(int32_t op, GpsTlsCfg* cfg, int32_t* err) {
    if (cfg == nullptr) {
        return refuse(err, "TLS certificate", "no record");
    }
    const std::lock_guard<std::mutex> lock(g_mu);
    State& s = state();
    if (op == GPS_OP_GET) {
        cfg->tls_len = s.tls_len;
        cfg->index = s.tls_chunks;
        memcpy(cfg->data, s.tls, sizeof cfg->data);
        cfg->length = static_cast<uint16_t>(s.tls_chars);
        return 1;
    }
    if (op != GPS_OP_SET) {
        return refuse(err, "TLS certificate", "unknown operation");
    }
    if (cfg->tls_len == 0) {
        SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: TLS certificate removed\n");
        s.tls_len = s.tls_chunks = s.tls_chars = 0;
        memset(s.tls, 0, sizeof s.tls);
        return 1;
    }
    const uint32_t chunks = (cfg->tls_len + kTlsChunk - 1) / kTlsChunk;
    if (cfg->tls_len > kTlsMax || cfg->index < 1 || cfg->index > chunks ||
        cfg->length > kTlsChunk) {
        return refuse(err, "TLS certificate", "chunk does not fit the certificate");
    }
    if (cfg->index == 1) {
        s.tls_len = cfg->tls_len;
        s.tls_chunks = s.tls_chars = 0;
        memset(s.tls, 0, sizeof s.tls);
    } else if (cfg->tls_len != s.tls_len || cfg->index != s.tls_chunks + 1) {
        return refuse(err, "TLS certificate", "chunk out of order");
    }
    memcpy(s.tls + static_cast<size_t>(cfg->index - 1) * kTlsChunk, cfg->data, cfg->length);
    s.tls_chunks = cfg->index;
    s.tls_chars += cfg->length;
    if (cfg->index == chunks) {
        SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: TLS certificate of %u characters complete\n",
                  static_cast<unsigned>(s.tls_chars));
    }
    return 1;
}

int32_t gpsclient_ltofeature(int32_t op, int32_t* value, int32_t* err) {
    return lock_call("LTO lock", op, value, err, &State::lto_lock);
}

int32_t gpsclient_injRefTimeFeature(int32_t op, int32_t* value, int32_t* err) {
    return lock_call("reference time lock", op, value, err, &State::injtime_lock);
}

int32_t gpsclient_xmldata(int32_t op, GpsXmlDataChunk* chunk, int32_t* err) {
    if (chunk == nullptr || op != GPS_OP_SET) {
        return refuse(err, "configuration chunk", "no record or not a set");
    }
    // The document is text: each chunk's bytes end at the first zero.
    const size_t n = strnlen(reinterpret_cast<const char*>(chunk->data), kXmlChunkMax);
    const std::lock_guard<std::mutex> lock(g_mu);
    State& s = state();
    bool refused = false;
    if (take_chunk(s.xml, "configuration", chunk->total, chunk->index, chunk->data, n, err,
                   &refused)) {
        s.status.xml_applied = s.xml.bytes.size();
        ++s.status.xml_uploads;
        SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: configuration document of %zu bytes applied\n",
                  s.xml.bytes.size());
        s.xml = Upload{};
    }
    return refused ? 0 : 1;
}

int32_t gpsclient_LTOdata(int32_t op, GpsLtoDataChunk* chunk, int32_t* err) {
    if (chunk == nullptr || op != GPS_OP_SET) {
        return refuse(err, "LTO chunk", "no record or not a set");
    }
    if (chunk->length < 0 || chunk->length > kLtoChunkMax) {
        return refuse(err, "LTO chunk", "length outside 0..256");
    }
    const std::lock_guard<std::mutex> lock(g_mu);
    State& s = state();
    if (s.lto_lock == 1) {
        return refuse(err, "LTO chunk", "LTO is locked");
    }
    bool refused = false;
    if (take_chunk(s.lto, "LTO", chunk->total, chunk->index, chunk->data,
                   static_cast<size_t>(chunk->length), err, &refused)) {
        s.status.lto_applied = s.lto.bytes.size();
        ++s.status.lto_uploads;
        SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: LTO data of %zu bytes applied\n", s.lto.bytes.size());
        s.lto = Upload{};
    }
    return refused ? 0 : 1;
}

int32_t gpsclient_injRefTime(int32_t op, GpsRefTimeInfo* info, int32_t* err) {
    if (info == nullptr || op != GPS_OP_SET) {
        return refuse(err, "reference time", "no record or not a set");
    }
    const std::lock_guard<std::mutex> lock(g_mu);
    State& s = state();
    if (s.injtime_lock == 1) {
        return refuse(err, "reference time", "reference time injection is locked");
    }
    if (info->time < 0 || info->uncertainty < 0) {
        return refuse(err, "reference time", "negative time or uncertainty");
    }
    s.status.time_injected = true;
    s.status.time = *info;
    SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: reference time %lld ms (reference %lld, uncertainty %d)\n",
              static_cast<long long>(info->time), static_cast<long long>(info->time_ref),
              info->uncertainty);
    return 1;
}

int32_t gpsclient_injRefPos(int32_t op, GpsRefLocInfo* info, int32_t* err) {
    if (info == nullptr || op != GPS_OP_SET) {
        return refuse(err, "reference position", "no record or not a set");
    }
    if (!(std::fabs(info->latitude) <= 90.0) || !(std::fabs(info->longitude) <= 180.0) ||
        !(info->accuracy >= 0.0f) || !std::isfinite(info->accuracy)) {
        return refuse(err, "reference position", "not a place on the earth");
    }
    const std::lock_guard<std::mutex> lock(g_mu);
    State& s = state();
    s.status.pos_injected = true;
    s.status.pos = *info;
    SIM_TRACE(TRACE_LEVEL_INFO, "sim gnss: reference position %.6f, %.6f, accuracy %.1f\n",
              info->latitude, info->longitude, static_cast<double>(info->accuracy));
    return 1;
}

}  // extern "C"

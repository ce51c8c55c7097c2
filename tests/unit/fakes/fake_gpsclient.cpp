// Recording fake of the GNSS client and of the module version query.
#include "fake_gpsclient.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "module_info.h"

namespace fake {

GpsClient& gps() {
    static GpsClient g;
    return g;
}

size_t GpsClient::count(const std::string& fn) const {
    return static_cast<size_t>(
        std::count_if(calls.begin(), calls.end(), [&](const GpsCall& c) { return c.fn == fn; }));
}

const GpsCall* GpsClient::last(const std::string& fn) const {
    for (auto it = calls.rbegin(); it != calls.rend(); ++it) {
        if (it->fn == fn) {
            return &*it;
        }
    }
    return nullptr;
}

std::vector<std::string> GpsClient::names() const {
    std::vector<std::string> v;
    for (const GpsCall& c : calls) {
        v.push_back(c.fn);
    }
    return v;
}

GpsReply GpsClient::next(const std::string& fn) {
    auto q = queued.find(fn);
    if (q != queued.end() && !q->second.empty()) {
        GpsReply r = q->second.front();
        q->second.pop_front();
        return r;
    }
    auto s = standing.find(fn);
    return s != standing.end() ? s->second : GpsReply{};
}

}  // namespace fake

namespace {

using fake::gps;

// Records the call and takes its reply; the reply's number goes into the error word.
fake::GpsReply record_and_reply(fake::GpsCall call, int32_t* err) {
    const std::string fn = call.fn;
    gps().calls.push_back(std::move(call));
    // The adapter hands every error word over as 0.
    if (err != nullptr && *err != 0) {
        ADD_FAILURE() << fn << " called with error word " << *err;
    }
    const fake::GpsReply r = gps().next(fn);
    // A failure writes its number; a success may leave one behind too.
    if (err != nullptr && (r.result == 0 || r.err != 0)) {
        *err = r.err;
    }
    return r;
}

// Records a call on values, answers it and writes the reply's values.
int32_t answer(fake::GpsCall call, std::initializer_list<int32_t*> values, int32_t* err) {
    for (int32_t* v : values) {
        call.in.push_back(v != nullptr ? *v : 0);
        // A get hands its values over as 0, so a failed get leaves 0.
        if (call.op == GPS_OP_GET && v != nullptr && *v != 0) {
            ADD_FAILURE() << call.fn << " get called with value " << *v;
        }
    }
    const fake::GpsReply r = record_and_reply(std::move(call), err);
    if (r.result == 0) {
        return 0;
    }
    size_t i = 0;
    for (int32_t* v : values) {
        if (v != nullptr && i < r.out.size()) {
            *v = r.out[i];
        }
        ++i;
    }
    return r.result;
}

int32_t op_call(const char* fn, int32_t op, int32_t* value, int32_t* err) {
    fake::GpsCall c;
    c.fn = fn;
    c.op = op;
    return answer(std::move(c), {value}, err);
}

}  // namespace

extern "C" {

int32_t gpsclient_init(GpsClientCallbacks*) {
    return 1;
}

int32_t gpsclient_startFix(int32_t* err) {
    return answer({"gpsclient_startFix"}, {}, err);
}
int32_t gpsclient_stopFix(int32_t* err) {
    return answer({"gpsclient_stopFix"}, {}, err);
}

// The calls that get or set one value.
#define FAKE_GPS_VALUE_CALL(fn)                        \
    int32_t fn(int32_t op, int32_t* v, int32_t* err) { \
        return op_call(#fn, op, v, err);               \
    }
FAKE_GPS_VALUE_CALL(gpsclient_portCfg)
FAKE_GPS_VALUE_CALL(gpsclient_WPCAP)
FAKE_GPS_VALUE_CALL(gpsclient_sessionType)
FAKE_GPS_VALUE_CALL(gpsclient_operateMode)
FAKE_GPS_VALUE_CALL(gpsclient_aidingData)
FAKE_GPS_VALUE_CALL(gpsclient_locks)
FAKE_GPS_VALUE_CALL(gpsclient_anyData)
FAKE_GPS_VALUE_CALL(gpsclient_WPLPM)
FAKE_GPS_VALUE_CALL(gpsclient_SuplAutonomousCapable)
FAKE_GPS_VALUE_CALL(gpsclient_suplfeature)
FAKE_GPS_VALUE_CALL(gpsclient_ltofeature)
FAKE_GPS_VALUE_CALL(gpsclient_injRefTimeFeature)
FAKE_GPS_VALUE_CALL(gpsclient_WPINFO)
FAKE_GPS_VALUE_CALL(gpsclient_ZQCUST)
#undef FAKE_GPS_VALUE_CALL

int32_t gpsclient_freqAndInterval(int32_t op, int32_t* times, int32_t* interval, int32_t* err,
                                  int32_t count) {
    fake::GpsCall c;
    c.fn = "gpsclient_freqAndInterval";
    c.op = op;
    return answer(std::move(c), {times, interval, &count}, err);
}

int32_t gpsclient_WNICT(int32_t op, int32_t* allow, int32_t* req_id, int32_t* err) {
    fake::GpsCall c;
    c.fn = "gpsclient_WNICT";
    c.op = op;
    return answer(std::move(c), {allow, req_id}, err);
}

int32_t gpsclient_SET_NITIMER(int32_t* value) {
    return answer({"gpsclient_SET_NITIMER"}, {value}, nullptr);
}

int32_t gpsclient_WPURL(int32_t op, char* address, int32_t length, int32_t* err) {
    fake::GpsCall c;
    c.fn = "gpsclient_WPURL";
    c.op = op;
    c.length = length;
    if (address != nullptr && length > 0) {
        c.text.assign(address, static_cast<size_t>(length));
    }
    return record_and_reply(std::move(c), err).result;
}

int32_t gpsclient_AGNSSCFG(int32_t op, GpsAgnssCfg* cfg, int32_t* err) {
    fake::GpsCall c;
    c.fn = "gpsclient_AGNSSCFG";
    c.op = op;
    int32_t w[4] = {};
    if (cfg != nullptr) {
        std::memcpy(w, cfg, sizeof w);
    }
    const int32_t result = answer(std::move(c), {&w[0], &w[1], &w[2], &w[3]}, err);
    if (result != 0 && cfg != nullptr) {
        std::memcpy(cfg, w, sizeof w);
    }
    return result;
}

int32_t gpsclient_send_nitext(const char* text, int32_t length, int32_t* err) {
    fake::GpsCall c;
    c.fn = "gpsclient_send_nitext";
    c.length = length;
    if (text != nullptr && length > 0) {
        c.text.assign(text, static_cast<size_t>(length));
    }
    return answer(std::move(c), {}, err);
}

}  // extern "C"

namespace {

// Records a call that passes a record: its bytes at the call, and on success
// the reply's bytes written over it.
template <typename Record>
int32_t record_call(const char* fn, int32_t op, Record* rec, int32_t* err) {
    fake::GpsCall c;
    c.fn = fn;
    c.op = op;
    if (rec != nullptr) {
        c.text.assign(reinterpret_cast<const char*>(rec), sizeof(Record));
    }
    const fake::GpsReply r = record_and_reply(std::move(c), err);
    if (r.result == 0) {
        return 0;
    }
    if (rec != nullptr) {
        std::memcpy(rec, r.text.data(), std::min(r.text.size(), sizeof(Record)));
    }
    return r.result;
}

}  // namespace

extern "C" {

int32_t gpsclient_TLSCFG(int32_t op, GpsTlsCfg* cfg, int32_t* err) {
    return record_call("gpsclient_TLSCFG", op, cfg, err);
}
int32_t gpsclient_xmldata(int32_t op, GpsXmlDataChunk* chunk, int32_t* err) {
    return record_call("gpsclient_xmldata", op, chunk, err);
}
int32_t gpsclient_LTOdata(int32_t op, GpsLtoDataChunk* chunk, int32_t* err) {
    return record_call("gpsclient_LTOdata", op, chunk, err);
}
int32_t gpsclient_injRefTime(int32_t op, GpsRefTimeInfo* info, int32_t* err) {
    return record_call("gpsclient_injRefTime", op, info, err);
}
int32_t gpsclient_injRefPos(int32_t op, GpsRefLocInfo* info, int32_t* err) {
    return record_call("gpsclient_injRefPos", op, info, err);
}

int32_t gpsclient_set_type(int32_t nav_type, int32_t mhz, int32_t khz, int32_t hz) {
    return answer({"gpsclient_set_type"}, {&nav_type, &mhz, &khz, &hz}, nullptr);
}
int32_t gpsclient_qry_cn(int32_t* cn) {
    return answer({"gpsclient_qry_cn"}, {cn}, nullptr);
}
int32_t gpsclient_svscno_list(GpsSvCnoList* list) {
    return record_call("gpsclient_svscno_list", 0, list, nullptr);
}
int32_t gpsclient_NAVQUY(int32_t op, GpsNavQuyInfo* info, int32_t* err) {
    return record_call("gpsclient_NAVQUY", op, info, err);
}
int32_t gpsclient_GnssPosition(int32_t op, GpsPositionInfo* pos, int32_t* err) {
    return record_call("gpsclient_GnssPosition", op, pos, err);
}

// The module's version query: "V1.0.3" after two NULs, and a result of 0.
int32_t AT_Cgmr(char* version) {
    std::memcpy(version, "\0\0V1.0.3", 9);
    return 0;
}

}  // extern "C"

// Recording fake of the GNSS client: every gpsclient_ call with its arguments, answers chosen by a
// test.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "gpsclient.h"

namespace fake {

// One call as the adapter made it.
struct GpsCall {
    std::string fn;           // "gpsclient_WPCAP"
    int32_t op = 0;           // operation code; 0 for calls without one
    std::vector<int32_t> in;  // the values pointed to at the call (AGNSSCFG: its four words)
    std::string text;         // gpsclient_WPURL / gpsclient_send_nitext: the characters passed;
                              // record calls (TLSCFG, chunks, injections, C/N0 list,
                              // navigation query, position): the record's bytes
    int32_t length = 0;       // and the length passed with them
};

// How a call answers.
struct GpsReply {
    int32_t result = 1;        // 0 = failure
    int32_t err = 0;           // written to the error word on failure, and on success when set
    std::vector<int32_t> out;  // written to the values on success; empty leaves them
    std::string text;          // record calls: bytes written over the record's start on success
};

struct GpsClient {
    std::vector<GpsCall> calls;
    std::map<std::string, GpsReply> standing;            // every call of a function
    std::map<std::string, std::deque<GpsReply>> queued;  // answered first, one per call

    void reset() { *this = GpsClient{}; }
    GpsReply& on(const std::string& fn) { return standing[fn]; }
    void fail(const std::string& fn, int32_t err) { on(fn) = GpsReply{0, err, {}, {}}; }
    void then(const std::string& fn, GpsReply r) { queued[fn].push_back(std::move(r)); }
    void radio(int32_t state) { on("gpsclient_WPCAP").out = {state}; }

    size_t count(const std::string& fn) const;
    const GpsCall* last(const std::string& fn) const;
    std::vector<std::string> names() const;  // the functions called, in order

    // Takes the answer of the next call of fn (used by the fake calls).
    GpsReply next(const std::string& fn);
};

GpsClient& gps();

}  // namespace fake

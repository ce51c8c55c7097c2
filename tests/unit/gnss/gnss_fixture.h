// Fixture of the GNSS adapter suites: clean adapter state, the GNSS client fake and report readers.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "at_cmd_table.h"
#include "fake_gpsclient.h"
#include "fake_platform.h"
#include "gps_adapter/gnss_reports.h"
#include "gps_adapter/gnss_state.h"
#include "request_builder.h"
#include "tandrel_core.h"

namespace gnss_test {

// A report as the kernel received it.
struct Report {
    uint32_t port;
    std::string text;
    bool operator==(const Report&) const = default;
};

inline void PrintTo(const Report& r, std::ostream* os) {
    *os << "{" << r.port << ", " << testing::PrintToString(r.text) << "}";
}

// The outcome of one handler call.
struct Answer {
    int32_t ret;
    AtResponse rsp;
    std::string text() const { return std::string(rsp.m_buffer, rsp.m_length); }
};

class GnssTest : public fake::PlatformTest {
  protected:
    void SetUp() override {
        PlatformTest::SetUp();
        gnss_adapter_reset();
        // The port configuration is known unless a test says otherwise.
        gnss_set(GnssValue::PortCfgReady, 1);
    }
    void TearDown() override {
        gnss_adapter_reset();
        PlatformTest::TearDown();
    }

    static fake::GpsClient& G() { return fake::gps(); }

    static void nmea(const std::string& s, int64_t ts = 0) {
        AT_nmea_cb(ts, s.c_str(), static_cast<int32_t>(s.size()));
    }

    // Every report sent, after checking the fields every GNSS report shares:
    // m_protocol 1, m_retenum 0, m_magic 0, the text's length and the wire size.
    std::vector<Report> reports(uint32_t id = GNSS_REPORT_ID_NMEA) {
        std::vector<Report> out;
        for (const fake::Sent& s : P().sent) {
            const AtResponse r = s.record();
            EXPECT_EQ(r.m_id, id);
            EXPECT_EQ(r.m_protocol, 1u);
            EXPECT_EQ(r.m_retenum, 0);
            EXPECT_EQ(r.m_magic, 0u);
            EXPECT_EQ(s.size, r.m_length + 25);
            EXPECT_EQ(r.m_buffer[std::min<size_t>(r.m_length, sizeof r.m_buffer - 1)], '\0');
            out.push_back({r.m_uindex, s.text()});
        }
        return out;
    }
};

// Calls a handler with the request and a zeroed response, as the dispatcher does.
inline Answer at_run(AtHandler h, fake::RequestBytes& req) {
    auto rsp = std::make_unique<AtResponse>();
    Answer a{h(reinterpret_cast<AtRequest*>(req.data()), rsp.get()), {}};
    std::memcpy(&a.rsp, rsp.get(), sizeof a.rsp);
    return a;
}
// Calls the command table's handler of cmd for the operation, so that the
// wiring is tested too.
inline Answer at_call(fake::RequestBytes& req, const char* cmd, uint32_t type) {
    const AtCmdEntry* row = at_cmd_find(cmd);
    const AtHandler h = row != nullptr ? at_cmd_handler(*row, type) : nullptr;
    EXPECT_NE(h, nullptr) << cmd << " operation " << type;
    return h != nullptr ? at_run(h, req) : Answer{-2, {}};
}
inline Answer at_op(const char* cmd, uint32_t type, std::initializer_list<uint32_t> values) {
    fake::RequestBytes req(cmd, type);
    for (uint32_t v : values) {
        req.num(v);
    }
    return at_call(req, cmd, type);
}
inline Answer at_set(const char* cmd, std::initializer_list<uint32_t> values) {
    return at_op(cmd, NL_TYPE_SET, values);
}
inline Answer at_query(const char* cmd) {
    return at_op(cmd, NL_TYPE_QUERY, {});
}

}  // namespace gnss_test

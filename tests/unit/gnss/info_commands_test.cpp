// ^GNSSCNO, ^NAVQUY, ^GNSSPOS, ^WPINFO, ^WPCAP, ^WNICT and ^ZQCUST: texts built from the client's
// records, parameter rules and client failures.
#include <functional>
#include <limits>
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gps_at_handlers.h"

namespace {

using namespace gnss_test;

class InfoCommands : public GnssTest {};

// A request with numeric parameters sent as the driver does: value and digits.
Answer run(const char* cmd, uint32_t type, const std::vector<uint32_t>& values = {}) {
    fake::RequestBytes req(cmd, type);
    for (size_t i = 0; i < values.size(); ++i) {
        req.text(std::to_string(values[i]), 0).u32(84 + 568 * i, values[i]);
    }
    return at_call(req, cmd, type);
}

GpsSvCnoList cno(int32_t count, std::vector<GpsSvCno> sv) {
    GpsSvCnoList l{};
    l.count = count;
    std::copy(sv.begin(), sv.end(), l.sv);
    return l;
}
GpsNavQuyInfo navquy(int32_t lead, int32_t count, std::vector<GpsNavQuyItem> items) {
    GpsNavQuyInfo q{};
    std::memset(q.reserved, 0xEE, sizeof q.reserved);  // never read
    q.lead = lead;
    q.count = count;
    std::copy(items.begin(), items.end(), q.item);
    return q;
}
GpsPositionInfo position(double lat, double lon, double alt) {
    GpsPositionInfo p{};
    std::memset(p.reserved, 0x5A, sizeof p.reserved);  // never read
    p.latitude = lat;
    p.longitude = lon;
    p.altitude = alt;
    return p;
}

struct TextCase {
    const char* cmd;
    uint32_t type;
    std::function<void()> client;
    const char* text;
};

TEST_F(InfoCommands, TextsFromWhatTheClientReports) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // The client answers with this record.
    const auto answers = [](const char* fn) {
        return [fn](auto rec) { return [fn, rec] { fake::gps().record(fn, rec); }; };
    };
    const auto svs = answers("gpsclient_svscno_list");
    const auto quy = answers("gpsclient_NAVQUY");
    const auto pos = answers("gpsclient_GnssPosition");
    GpsSvCnoList full = cno(1000, {});
    std::string full_text;
    for (int32_t i = 0; i < 32; ++i) {
        full.sv[i] = {i + 1, 20.0f};
        full_text += "\r\n^GNSSCNO: " + std::to_string(i + 1) + ",20\r\n";
    }
    full_text += "\r\nOK\r\n";
    const TextCase cases[] = {
        {"^GNSSCNO", 0, svs(cno(3, {{3, 38.9f}, {7, 0.0f}, {12, 41.0f}})),
         "\r\n^GNSSCNO: 3,38\r\n\r\n^GNSSCNO: 12,41\r\n\r\nOK\r\n"},
        {"^GNSSCNO", 0, svs(cno(-4, {{5, 30.0f}})), "\r\nOK\r\n"},
        {"^GNSSCNO", 0, svs(cno(3, {{1, nan}, {2, 1e20f}, {3, -1e20f}})),
         "\r\n^GNSSCNO: 1,0\r\n\r\n^GNSSCNO: 2,2147483647\r\n\r\n^GNSSCNO: 3,-2147483648\r\n"
         "\r\nOK\r\n"},
        {"^GNSSCNO", 0, svs(full), full_text.c_str()},
        {"^NAVQUY", 1, quy(navquy(2, 0, {{5, 40.5f}})), "\r\n^NAVQUY: 2,0\r\n\r\nOK\r\n"},
        {"^NAVQUY", 1, quy(navquy(-1, -3, {})), "\r\n^NAVQUY: -1,-3\r\n\r\nOK\r\n"},
        {"^NAVQUY", 1, quy(navquy(0, 1, {{-9, -0.9f}})), "\r\n^NAVQUY: 0,1,-9,0\r\n\r\nOK\r\n"},
        {"^GNSSPOS", 1, pos(position(0.0, -0.0, 0.0)), "\r\n^GNSSPOS: 0, 0, 0\r\n\r\nOK\r\n"},
        {"^GNSSPOS", 1, pos(position(0.0, 0.0, -3.25)),
         "\r\n^GNSSPOS: 0.000000d, 0.000000d, -3.250000m\r\n\r\nOK\r\n"},
        {"^WPINFO", 1, [] { fake::gps().on("gpsclient_WPINFO").out = {-17}; },
         "\r\n^WPINFO: -17\r\n\r\nOK\r\n"},
    };
    for (const TextCase& c : cases) {
        SCOPED_TRACE(c.text);
        G().reset();
        c.client();
        const Answer a = run(c.cmd, c.type);
        EXPECT_EQ(a.ret, 0);
        EXPECT_EQ(a.rsp.m_retenum, 0);
        EXPECT_EQ(a.text(), c.text);
        ASSERT_EQ(G().calls.size(), 1u);
        EXPECT_EQ(G().calls[0].op, c.type == 0 ? 0 : GPS_OP_GET);
        // A record is handed over zeroed.
        EXPECT_EQ(G().calls[0].text.find_first_not_of('\0'), std::string::npos);
    }
}

// Every client call with an error word maps it, leaves no text and returns 0;
// the C/N0 list has no error word and answers 92.
TEST_F(InfoCommands, ClientFailures) {
    const struct {
        const char* cmd;
        uint32_t type;
        std::vector<uint32_t> values;
        const char* fn;
    } cases[] = {
        {"^NAVQUY", 1, {}, "gpsclient_NAVQUY"},       {"^GNSSPOS", 1, {}, "gpsclient_GnssPosition"},
        {"^WPINFO", 1, {}, "gpsclient_WPINFO"},       {"^WPCAP", 1, {}, "gpsclient_WPCAP"},
        {"^WPCAP", 0, {3}, "gpsclient_WPCAP"},        {"^WNICT", 0, {1, 9}, "gpsclient_WNICT"},
        {"^ZQCUST", 1, {}, "gpsclient_ZQCUST"},       {"^ZQCUST", 0, {0, 1}, "gpsclient_ZQCUST"},
        {"^GNSSCNO", 0, {}, "gpsclient_svscno_list"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.cmd) + " " + std::to_string(c.type));
        for (const auto& [err, retenum] : {std::pair{283, 94}, {0, 20}}) {
            G().reset();
            G().fail(c.fn, err);
            const Answer a = run(c.cmd, c.type, c.values);
            const bool no_error_word = c.cmd == std::string("^GNSSCNO");
            EXPECT_TRUE(failed_with(a, no_error_word ? -1 : 0, no_error_word ? 92 : retenum))
                << err;
        }
    }
}

// Test texts are fixed: the radio is not asked, even when it is off.
TEST_F(InfoCommands, TestOperationsAskNothing) {
    G().radio(0);
    for (const char* cmd : {"^NAVTYPE", "^NAVENABLE", "^NAVFREQ", "^WPCAP", "^WNICT", "^ZQCUST"}) {
        SCOPED_TRACE(cmd);
        const Answer a = run(cmd, NL_TYPE_TEST);
        EXPECT_EQ(a.ret, 0);
        EXPECT_EQ(a.rsp.m_retenum, 0);
        EXPECT_NE(a.rsp.m_length, 0u);
    }
    EXPECT_TRUE(G().calls.empty());
}

TEST_F(InfoCommands, SetParameterRules) {
    const struct {
        const char* cmd;
        uint32_t count;
        int absent;  // parameter sent empty, -1 none
        int32_t retenum;
    } cases[] = {
        {"^WPCAP", 0, -1, 20},    {"^WPCAP", 2, -1, 96},  {"^WNICT", 0, -1, 20},
        {"^WNICT", 1000, -1, 96}, {"^ZQCUST", 1, -1, 20}, {"^ZQCUST", 3, -1, 96},
        {"^ZQCUST", 2, 0, 92},    {"^ZQCUST", 2, 1, 92},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.cmd) + " " + std::to_string(c.count));
        fake::RequestBytes req(c.cmd);
        for (uint32_t i = 0; i < c.count && i < 17; ++i) {
            req.text(static_cast<int>(i) == c.absent ? "" : "1", 0).u32(84 + 568 * i, 1);
        }
        req.count(c.count);
        EXPECT_TRUE(failed_with(at_call(req, c.cmd, NL_TYPE_SET), -1, c.retenum));
    }
    EXPECT_TRUE(G().calls.empty());
}

TEST_F(InfoCommands, SetsPassTheirValues) {
    g_NiReqId = 4242;
    const struct {
        const char* cmd;
        std::vector<uint32_t> values;
        const char* fn;
        std::vector<int32_t> passed;
    } cases[] = {
        {"^WPCAP", {7}, "gpsclient_WPCAP", {7}},  // no range check
        {"^WNICT", {1}, "gpsclient_WNICT", {1, 4242}},
        {"^ZQCUST", {0, 1}, "gpsclient_ZQCUST", {1}},  // the function number is not passed
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.cmd);
        G().reset();
        EXPECT_EQ(run(c.cmd, NL_TYPE_SET, c.values).text(), "\r\nOK\r\n");
        EXPECT_EQ(G().names(), std::vector<std::string>{c.fn}) << "the users' fixes left alone";
        EXPECT_EQ(G().last(c.fn)->op, GPS_OP_SET);
        EXPECT_EQ(G().last(c.fn)->in, c.passed);
    }
}

}  // namespace

// ^GNSSCNO, ^NAVQUY, ^GNSSPOS, ^WPINFO, ^WPCAP, ^WNICT and ^ZQCUST: texts built from the client's
// records, parameter rules and client failures.
#include <cmath>
#include <limits>
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gps_at_handlers.h"

namespace {

using gnss_test::Answer;
using gnss_test::at_call;
using gnss_test::at_query;
using gnss_test::at_set;
using gnss_test::at_test;
using gnss_test::GnssTest;

class InfoCommands : public GnssTest {};

GpsSvCnoList cno_list(std::initializer_list<std::pair<int32_t, float>> entries, int32_t count) {
    GpsSvCnoList l{};
    size_t i = 0;
    for (const auto& [sv, cno] : entries) {
        l.sv[i++] = {sv, cno};
    }
    l.count = count;
    return l;
}

TEST_F(InfoCommands, CarrierToNoiseList) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        GpsSvCnoList list;
        const char* text;
    } cases[] = {
        {cno_list({{3, 38.9f}, {7, 0.0f}, {12, 41.0f}}, 3),
         "\r\n^GNSSCNO: 3,38\r\n\r\n^GNSSCNO: 12,41\r\n\r\nOK\r\n"},
        {cno_list({{5, -1.5f}, {6, 2.0f}}, 1), "\r\n^GNSSCNO: 5,-1\r\n\r\nOK\r\n"},
        {cno_list({{5, 30.0f}}, 0), "\r\nOK\r\n"},
        {cno_list({{5, 30.0f}}, -4), "\r\nOK\r\n"},
        {cno_list({{1, nan}, {2, 1e20f}, {3, -1e20f}}, 3),
         "\r\n^GNSSCNO: 1,0\r\n\r\n^GNSSCNO: 2,2147483647\r\n\r\n^GNSSCNO: 3,-2147483648\r\n"
         "\r\nOK\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        G().reset();
        G().record("gpsclient_svscno_list", c.list);
        const Answer a = at_set("^GNSSCNO", {});
        EXPECT_EQ(a.ret, 0);
        EXPECT_EQ(a.rsp.m_retenum, 0);
        EXPECT_EQ(a.text(), c.text);
        ASSERT_EQ(G().count("gpsclient_svscno_list"), 1u);
        EXPECT_TRUE(G().last("gpsclient_svscno_list")->record_zeroed);
    }
}

TEST_F(InfoCommands, CarrierToNoiseListStopsAt32Entries) {
    GpsSvCnoList l{};
    std::string want;
    for (int32_t i = 0; i < 32; ++i) {
        l.sv[i] = {i + 1, 20.0f};
        want += "\r\n^GNSSCNO: " + std::to_string(i + 1) + ",20\r\n";
    }
    l.count = 1000;
    G().record("gpsclient_svscno_list", l);
    EXPECT_EQ(at_set("^GNSSCNO", {}).text(), want + "\r\nOK\r\n");
}

TEST_F(InfoCommands, CarrierToNoiseListFailureGives92) {
    G().fail("gpsclient_svscno_list", 283);
    const Answer a = at_set("^GNSSCNO", {});
    EXPECT_EQ(a.ret, -1);
    EXPECT_EQ(a.rsp.m_retenum, 92);
    EXPECT_EQ(a.rsp.m_length, 0u);
}

GpsNavQuyInfo navquy(int32_t lead, int32_t count, std::vector<std::pair<int32_t, float>> items) {
    GpsNavQuyInfo q{};
    std::memset(q.reserved, 0xEE, sizeof q.reserved);  // never read
    q.lead = lead;
    q.count = count;
    for (size_t i = 0; i < items.size(); ++i) {
        q.item[i] = {items[i].first, items[i].second};
    }
    return q;
}

TEST_F(InfoCommands, NavQueryListsNumbersBeforeValues) {
    const struct {
        GpsNavQuyInfo info;
        const char* text;
    } cases[] = {
        {navquy(2, 2, {{5, 40.5f}, {7, 33.0f}}), "\r\n^NAVQUY: 2,2,5,7,40,33\r\n\r\nOK\r\n"},
        {navquy(2, 0, {{5, 40.5f}}), "\r\n^NAVQUY: 2,0\r\n\r\nOK\r\n"},
        {navquy(-1, -3, {{5, 40.5f}}), "\r\n^NAVQUY: -1,-3\r\n\r\nOK\r\n"},
        {navquy(0, 1, {{-9, -0.9f}}), "\r\n^NAVQUY: 0,1,-9,0\r\n\r\nOK\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        G().reset();
        G().record("gpsclient_NAVQUY", c.info);
        const Answer a = at_query("^NAVQUY");
        EXPECT_EQ(a.ret, 0);
        EXPECT_EQ(a.text(), c.text);
        EXPECT_EQ(G().last("gpsclient_NAVQUY")->op, 2);
        EXPECT_TRUE(G().last("gpsclient_NAVQUY")->record_zeroed);
    }
}

TEST_F(InfoCommands, NavQueryWithMoreThan32Pairs) {
    GpsNavQuyInfo q = navquy(1, 33, {});
    std::string numbers, values;
    for (int32_t i = 0; i < 32; ++i) {
        q.item[i] = {100 + i, static_cast<float>(i)};
        numbers += std::to_string(100 + i) + ",";
        values += std::to_string(i) + ",";
    }
    G().record("gpsclient_NAVQUY", q);
    values.pop_back();
    EXPECT_EQ(at_query("^NAVQUY").text(),
              "\r\n^NAVQUY: 1,33," + numbers + values + "\r\n\r\nOK\r\n");
}

GpsPositionInfo position(double lat, double lon, double alt) {
    GpsPositionInfo p{};
    std::memset(p.reserved, 0x5A, sizeof p.reserved);  // never read
    p.latitude = lat;
    p.longitude = lon;
    p.altitude = alt;
    return p;
}

TEST_F(InfoCommands, PositionTexts) {
    const struct {
        GpsPositionInfo pos;
        const char* text;
    } cases[] = {
        {position(0.0, 0.0, 0.0), "\r\n^GNSSPOS: 0, 0, 0\r\n\r\nOK\r\n"},
        {position(-0.0, 0.0, -0.0), "\r\n^GNSSPOS: 0, 0, 0\r\n\r\nOK\r\n"},
        {position(31.2304, 121.4737, 12.5),
         "\r\n^GNSSPOS: 31.230400d, 121.473700d, 12.500000m\r\n\r\nOK\r\n"},
        {position(0.0, 0.0, -3.25), "\r\n^GNSSPOS: 0.000000d, 0.000000d, -3.250000m\r\n\r\nOK\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        G().reset();
        G().record("gpsclient_GnssPosition", c.pos);
        const Answer a = at_query("^GNSSPOS");
        EXPECT_EQ(a.ret, 0);
        EXPECT_EQ(a.text(), c.text);
        EXPECT_EQ(G().last("gpsclient_GnssPosition")->op, 2);
        EXPECT_TRUE(G().last("gpsclient_GnssPosition")->record_zeroed);
    }
    G().reset();
    G().record("gpsclient_GnssPosition", position(1e308, -1e308, 1e308));
    const Answer huge = at_query("^GNSSPOS");
    EXPECT_EQ(huge.rsp.m_length, strlen(huge.rsp.m_buffer));
    EXPECT_EQ(huge.text().substr(huge.text().size() - 9), "m\r\n\r\nOK\r\n");
}

// Every client call with an error word maps it, leaves no text and returns 0.
TEST_F(InfoCommands, ClientFailuresAreMapped) {
    const struct {
        const char* cmd;
        uint32_t type;
        std::vector<uint32_t> values;
        const char* fn;
    } cases[] = {
        {"^NAVQUY", NL_TYPE_QUERY, {}, "gpsclient_NAVQUY"},
        {"^GNSSPOS", NL_TYPE_QUERY, {}, "gpsclient_GnssPosition"},
        {"^WPINFO", NL_TYPE_QUERY, {}, "gpsclient_WPINFO"},
        {"^WPCAP", NL_TYPE_QUERY, {}, "gpsclient_WPCAP"},
        {"^WPCAP", NL_TYPE_SET, {3}, "gpsclient_WPCAP"},
        {"^WNICT", NL_TYPE_SET, {1, 9}, "gpsclient_WNICT"},
        {"^ZQCUST", NL_TYPE_QUERY, {}, "gpsclient_ZQCUST"},
        {"^ZQCUST", NL_TYPE_SET, {0, 1}, "gpsclient_ZQCUST"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.cmd) + " " + std::to_string(c.type));
        for (const auto& [err, retenum] : {std::pair{283, 94}, {276, 88}, {0, 20}, {9999, 20}}) {
            G().reset();
            G().fail(c.fn, err);
            fake::RequestBytes req(c.cmd, c.type);
            for (size_t i = 0; i < c.values.size(); ++i) {
                req.text(std::to_string(c.values[i]), 0).u32(84 + 568 * i, c.values[i]);
            }
            const Answer a = at_call(req, c.cmd, c.type);
            EXPECT_EQ(a.ret, 0);
            EXPECT_EQ(a.rsp.m_retenum, retenum) << err;
            EXPECT_EQ(a.rsp.m_length, 0u);
            EXPECT_EQ(G().count(c.fn), 1u);
        }
    }
    EXPECT_TRUE(P().traced("At_GPS_ReadGnssPos: Function execute failed!\r\n"));
}

TEST_F(InfoCommands, QueryTexts) {
    G().on("gpsclient_WPINFO").out = {-17};
    EXPECT_EQ(at_query("^WPINFO").text(), "\r\n^WPINFO: -17\r\n\r\nOK\r\n");
    G().radio(3);
    EXPECT_EQ(at_query("^WPCAP").text(), "\r\n^WPCAP: 3\r\n\r\nOK\r\n");
    G().on("gpsclient_ZQCUST").out = {1};
    EXPECT_EQ(at_query("^ZQCUST").text(), "\r\n^ZQCUST: 0,1\r\n\r\nOK\r\n");
    EXPECT_EQ(at_query("^ZQCUST", {0}).text(), "\r\n^ZQCUST: 0,1\r\n\r\nOK\r\n");
    for (const char* fn : {"gpsclient_WPINFO", "gpsclient_WPCAP", "gpsclient_ZQCUST"}) {
        EXPECT_EQ(G().last(fn)->op, 2) << fn;
    }
}

// Test texts are fixed: the radio is not asked, even when it is off.
TEST_F(InfoCommands, TestTextsAskNothing) {
    const std::pair<const char*, const char*> cases[] = {
        {"^NAVTYPE", "\r\n^NAVTYPE:2\r\n^NAVTYPE:1,\"GPS\"\r\n^NAVTYPE:2,\"GLONASS\"\r\n\r\nOK\r\n"},
        {"^NAVENABLE", "\r\nERROR\r\n"},
        {"^NAVFREQ", "\r\nERROR\r\n"},
        {"^WPCAP", "\r\n^WPCAP: (0,3)\r\n\r\nOK\r\n"},
        {"^WNICT", "\r\n^WNICT: (0-1),(0-65535)\r\n\r\nOK\r\n"},
        {"^ZQCUST", "\r\n^ZQCUST: 0,(0,1)\r\n\r\nOK\r\n"},
    };
    G().radio(0);
    for (const auto& [cmd, text] : cases) {
        SCOPED_TRACE(cmd);
        const Answer a = at_test(cmd);
        EXPECT_EQ(a.ret, 0);
        EXPECT_EQ(a.rsp.m_retenum, 0);
        EXPECT_EQ(a.text(), text);
    }
    EXPECT_TRUE(G().calls.empty());
}

TEST_F(InfoCommands, SetParameterCounts) {
    const struct {
        const char* cmd;
        uint32_t count;
        int32_t retenum;
        const char* trace;
    } cases[] = {
        {"^WPCAP", 0, 20, "not enough params!\r\n"},   {"^WPCAP", 2, 96, "too many params!\r\n"},
        {"^WNICT", 0, 20, "not enough params!\r\n"},   {"^WNICT", 3, 96, "too many params!\r\n"},
        {"^ZQCUST", 1, 20, "not enough params!\r\n"},  {"^ZQCUST", 3, 96, "too many params!\r\n"},
        {"^ZQCUST", 0, 20, "not enough params!\r\n"},  {"^WNICT", 1000, 96, "too many params!\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.cmd) + " " + std::to_string(c.count));
        P().reset();
        fake::RequestBytes req(c.cmd);
        for (uint32_t i = 0; i < c.count && i < 17; ++i) {
            req.text("1", 0).u32(84 + 568 * i, 1);
        }
        req.count(c.count);
        const Answer a = at_call(req, c.cmd, NL_TYPE_SET);
        EXPECT_EQ(a.ret, -1);
        EXPECT_EQ(a.rsp.m_retenum, c.retenum);
        EXPECT_EQ(a.rsp.m_length, 0u);
        EXPECT_TRUE(P().traced(c.trace));
    }
    EXPECT_TRUE(G().calls.empty());
}

TEST_F(InfoCommands, RadioSetPassesAnyValue) {
    for (uint32_t v : {0u, 3u, 7u}) {
        const Answer a = at_set("^WPCAP", {v});
        EXPECT_EQ(a.text(), "\r\nOK\r\n");
        EXPECT_EQ(G().last("gpsclient_WPCAP")->op, 1);
        EXPECT_EQ(G().last("gpsclient_WPCAP")->in, std::vector<int32_t>{static_cast<int32_t>(v)});
        EXPECT_TRUE(P().traced("ulParaValue's value is " + std::to_string(v) + "!\r\n"));
    }
    // The users' fixes are left alone.
    EXPECT_EQ(G().count("gpsclient_startFix") + G().count("gpsclient_stopFix"), 0u);
}

TEST_F(InfoCommands, NiAnswerGoesToTheGivenOrTheLastRequest) {
    g_NiReqId = 4242;
    EXPECT_EQ(at_set("^WNICT", {1}).text(), "\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_WNICT")->in, (std::vector<int32_t>{1, 4242}));
    EXPECT_EQ(at_set("^WNICT", {0, 65535}).text(), "\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_WNICT")->in, (std::vector<int32_t>{0, 65535}));
    EXPECT_EQ(G().last("gpsclient_WNICT")->op, 1);
}

TEST_F(InfoCommands, CustomizationSetPassesTheOperationOnly) {
    fake::RequestBytes req("^ZQCUST");
    req.text("0", 0).text("1", 0).u32(84 + 568, 1);
    EXPECT_EQ(at_call(req, "^ZQCUST", NL_TYPE_SET).text(), "\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_ZQCUST")->op, 1);
    EXPECT_EQ(G().last("gpsclient_ZQCUST")->in, std::vector<int32_t>{1});
    EXPECT_TRUE(P().traced("func is (0), operation is (1)!\r\n"));

    for (int absent = 0; absent < 2; ++absent) {
        SCOPED_TRACE(absent);
        G().reset();
        fake::RequestBytes r("^ZQCUST");
        r.text("0", 0).text("1", 0);
        r.bytes()[88 + 568 * static_cast<size_t>(absent)] = '\0';
        const Answer a = at_call(r, "^ZQCUST", NL_TYPE_SET);
        EXPECT_EQ(a.ret, -1);
        EXPECT_EQ(a.rsp.m_retenum, 92);
        EXPECT_TRUE(P().traced("invalid param since some of them is null!\r\n"));
        EXPECT_TRUE(G().calls.empty());
    }
}

}  // namespace

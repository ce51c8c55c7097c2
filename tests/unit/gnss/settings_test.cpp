// Basic GNSS settings commands: parameter counts, client calls, query and test texts, ^WPPORT
// routing.
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gps_at_handlers.h"

namespace {

using namespace gnss_test;

class Settings : public GnssTest {
  protected:
    void SetUp() override {
        GnssTest::SetUp();
        G().radio(GPS_RADIO_ON);
    }
};

// Set with n numeric parameters 1, 1, ... (a count past the 17 entries that
// fit is only claimed).
Answer set_n(const char* cmd, uint32_t n) {
    fake::RequestBytes req(cmd, NL_TYPE_SET);
    for (uint32_t i = 0; i < n && i < 17; ++i) {
        req.num(1);
    }
    req.count(n);
    return at_call(req, cmd, NL_TYPE_SET);
}

struct CountCase {
    const char* cmd;
    const char* fn;
    uint32_t max;
    int32_t none_ret;
    const char* none_trace;
    int32_t over_ret;
    const char* over_trace;
};

TEST_F(Settings, ParameterCountRules) {
    const char* enough = "not enough params!\r\n";
    const char* many = "too many params!\r\n";
    const char* error = "params have error!\r\n";
    const CountCase cases[] = {
        {"^WPDOM", "gpsclient_operateMode", 1, 20, enough, 96, many},
        {"^WPDST", "gpsclient_sessionType", 1, 20, enough, 96, many},
        {"^WPDFR", "gpsclient_freqAndInterval", 2, 20, enough, 96, many},
        {"^WPDGL", "gpsclient_locks", 1, 20, enough, 96, many},
        {"^WPDIM", "gpsclient_aidingData", 1, 20, enough, 96, many},
        {"^WPDNM", "gpsclient_anyData", 1, 96, error, 96, error},
        {"^WPLPM", "gpsclient_WPLPM", 1, 20, many, 20, many},
        {"^SUPLACAP", "gpsclient_SuplAutonomousCapable", 1, 20, many, 20, many},
        {"^WPPORT", "gpsclient_portCfg", 1, 20, enough, 96, many},
    };
    for (const CountCase& c : cases) {
        SCOPED_TRACE(c.cmd);
        for (uint32_t n : {0u, c.max + 1, 17u, 1000u}) {
            P().reset();
            G().calls.clear();
            const Answer a = set_n(c.cmd, n);
            EXPECT_TRUE(failed_with(a, -1, n == 0 ? c.none_ret : c.over_ret)) << n;
            EXPECT_TRUE(P().traced(n == 0 ? c.none_trace : c.over_trace));
            EXPECT_TRUE(G().calls.empty());
        }
        for (uint32_t n = 1; n <= c.max; ++n) {
            G().calls.clear();
            const Answer a = set_n(c.cmd, n);
            EXPECT_EQ(a.rsp.m_retenum, 0);
            EXPECT_EQ(a.text(), "\r\nOK\r\n");
            ASSERT_EQ(G().count(c.fn), 1u);
            EXPECT_EQ(G().last(c.fn)->op, 1);
        }
    }
}

TEST_F(Settings, SetPassesTheValueAndMapsFailures) {
    const std::pair<const char*, const char*> cmds[] = {
        {"^WPDOM", "gpsclient_operateMode"}, {"^WPDST", "gpsclient_sessionType"},
        {"^WPDGL", "gpsclient_locks"},       {"^WPDIM", "gpsclient_aidingData"},
        {"^WPDNM", "gpsclient_anyData"},     {"^WPLPM", "gpsclient_WPLPM"},
        {"^WPPORT", "gpsclient_portCfg"},    {"^SUPLACAP", "gpsclient_SuplAutonomousCapable"},
    };
    for (const auto& [cmd, fn] : cmds) {
        SCOPED_TRACE(cmd);
        G().reset();
        EXPECT_EQ(at_set(cmd, {0}).text(), "\r\nOK\r\n");
        EXPECT_EQ(G().last(fn)->in, std::vector<int32_t>{0});
        G().fail(fn, 283);
        const Answer failed = at_set(cmd, {1});
        EXPECT_EQ(failed.rsp.m_retenum, 94);
        EXPECT_EQ(failed.rsp.m_length, 0u);
        EXPECT_EQ(failed.rsp.m_protocol, 0u);
        G().fail(fn, 0);  // failed without a code
        EXPECT_EQ(at_set(cmd, {1}).rsp.m_retenum, 20);
    }
    EXPECT_EQ(g_PortCfgReady.load(), 1);
}

TEST_F(Settings, QueryTexts) {
    const std::tuple<const char*, const char*, int32_t, const char*> cases[] = {
        {"^WPDOM", "gpsclient_operateMode", 5, "\r\n^WPDOM: 5\r\n\r\nOK\r\n"},
        {"^WPDST", "gpsclient_sessionType", 2, "\r\n^WPDST: 2\r\n\r\nOK\r\n"},
        {"^WPDGL", "gpsclient_locks", 3, "\r\n^WPDGL: 3\r\n\r\nOK\r\n"},
        {"^WPLPM", "gpsclient_WPLPM", 1, "\r\n^WPLPM: 1\r\n\r\nOK\r\n"},
        {"^SUPLACAP", "gpsclient_SuplAutonomousCapable", 0, "\r\n^SUPLACAP: 0\r\n\r\nOK\r\n"},
        {"^WPPORT", "gpsclient_portCfg", 1, "\r\n^WPPORT: 1\r\n\r\nOK\r\n"},
        {"^WPDGL", "gpsclient_locks", -7, "\r\n^WPDGL: -7\r\n\r\nOK\r\n"},
    };
    for (const auto& [cmd, fn, value, text] : cases) {
        SCOPED_TRACE(cmd);
        G().reset();
        G().on(fn).out = {value};
        const Answer a = at_query(cmd);
        EXPECT_EQ(a.text(), text);
        EXPECT_EQ(a.rsp.m_retenum, 0);
        EXPECT_EQ(G().last(fn)->op, 2);
        G().fail(fn, 287);
        const Answer failed = at_query(cmd);
        EXPECT_EQ(failed.rsp.m_retenum, 97);
        EXPECT_EQ(failed.rsp.m_length, 0u);
    }
    G().on("gpsclient_freqAndInterval").out = {65535, 1800};
    EXPECT_EQ(at_query("^WPDFR").text(), "\r\n^WPDFR: 65535,1800\r\n\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_freqAndInterval")->count, 0);
    EXPECT_EQ(G().last("gpsclient_freqAndInterval")->op, 2);
}

TEST_F(Settings, TestTextsOnlyWhileTheRadioIsOn) {
    const std::pair<const char*, const char*> cases[] = {
        {"^WPDOM", "\r\n^WPDOM: (0,1,5)\r\n\r\nOK\r\n"},
        {"^WPDST", "\r\n^WPDST: (0-2)\r\n\r\nOK\r\n"},
        {"^WPDFR", "\r\n^WPDFR: (0-65535),(1-1800)\r\n\r\nOK\r\n"},
        {"^WPDGL", "\r\n^WPDGL: (0-3)\r\n\r\nOK\r\n"},
        {"^WPDIM", "\r\n^WPDIM: (0-3)\r\n\r\nOK\r\n"},
        {"^WPDNM", "\r\n^WPDNM: (0-12)\r\n\r\nOK\r\n"},
        {"^WPLPM", "\r\n^WPLPM: (0,1)\r\n\r\nOK\r\n"},
        {"^SUPLACAP", "\r\n^SUPLACAP: (0,1)\r\n\r\nOK\r\n"},
        {"^WPPORT", "\r\n^WPPORT: (0-1)\r\n\r\nOK\r\n"},
    };
    for (const auto& [cmd, text] : cases) {
        SCOPED_TRACE(cmd);
        G().reset();
        for (int32_t radio : {3, 1}) {  // anything but off counts as on here
            G().radio(radio);
            EXPECT_EQ(at_test(cmd).text(), text);
        }
        G().radio(GPS_RADIO_OFF);
        const Answer off = at_test(cmd);
        EXPECT_EQ(off.rsp.m_retenum, 88);
        EXPECT_EQ(off.rsp.m_length, 0u);
        G().fail("gpsclient_WPCAP", 278);
        const Answer failed = at_test(cmd);
        EXPECT_EQ(failed.rsp.m_retenum, 90);
        EXPECT_EQ(failed.ret, -1);
        EXPECT_EQ(G().names(), std::vector<std::string>(4, "gpsclient_WPCAP"));
    }
}

TEST_F(Settings, OperationModeNeedsSuplForAssistedModes) {
    G().on("gpsclient_suplfeature").out = {1};  // SUPL closed
    for (uint32_t mode : {1u, 5u}) {
        const Answer a = at_set("^WPDOM", {mode});
        EXPECT_EQ(a.rsp.m_retenum, 90);
        EXPECT_EQ(a.ret, -1);
    }
    EXPECT_TRUE(P().traced("AT_GPS_SetOpMode:supl is close,can not set msa and msb\r\n"));
    EXPECT_EQ(G().count("gpsclient_operateMode"), 0u);
    EXPECT_EQ(at_set("^WPDOM", {0}).text(), "\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_operateMode")->in, std::vector<int32_t>{0});

    G().on("gpsclient_suplfeature").out = {0};
    EXPECT_EQ(at_set("^WPDOM", {5}).text(), "\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_operateMode")->in, std::vector<int32_t>{5});

    G().fail("gpsclient_suplfeature", 282);
    EXPECT_EQ(at_set("^WPDOM", {0}).rsp.m_retenum, 93);
    EXPECT_TRUE(P().traced("AT_GPS_SetOpMode:read the supl fail\r\n"));
    EXPECT_EQ(G().count("gpsclient_operateMode"), 2u);
}

TEST_F(Settings, FixRateSuplCapabilityAndValueTraces) {
    at_set("^WPDFR", {10});
    EXPECT_EQ(G().last("gpsclient_freqAndInterval")->in, (std::vector<int32_t>{10, 0}));
    EXPECT_EQ(G().last("gpsclient_freqAndInterval")->count, 1);
    at_set("^WPDFR", {10, 30});
    EXPECT_EQ(G().last("gpsclient_freqAndInterval")->in, (std::vector<int32_t>{10, 30}));
    EXPECT_EQ(G().last("gpsclient_freqAndInterval")->count, 2);

    G().calls.clear();
    const Answer a = at_set("^SUPLACAP", {2});
    EXPECT_EQ(a.rsp.m_retenum, 20);
    EXPECT_EQ(a.ret, -1);
    EXPECT_TRUE(P().traced("param is error!\r\n"));
    EXPECT_TRUE(P().traced("ulParaValue's value is 2!\r\n"));
    EXPECT_EQ(at_set("^SUPLACAP", {0xFFFFFFFF}).rsp.m_retenum, 20);
    EXPECT_TRUE(G().calls.empty());
    at_set("^WPLPM", {1});
    EXPECT_TRUE(P().traced("ulParaValue's value is 1!\r\n"));
}

TEST_F(Settings, PortConfigurationMovesTheReports) {
    g_PortCfgReady = 0;
    g_gnssPortFlag = 1;
    const Answer single = at_set("^WPPORT", {1});
    EXPECT_EQ(single.text(), "\r\nOK\r\n");
    EXPECT_EQ(single.rsp.m_protocol, 3u);
    nmea("$GPGGA,1*00\r\n");
    const int32_t status[] = {0, 0, 4, 2};
    AT_status_cb(const_cast<int32_t*>(status));
    ASSERT_EQ(P().sent.size(), 2u);
    EXPECT_EQ(P().sent[0].record().m_uindex, 6u);
    EXPECT_EQ(P().sent[1].record().m_uindex, 6u);
    EXPECT_EQ(G().names(), std::vector<std::string>{"gpsclient_portCfg"});  // the set only

    const Answer split = at_set("^WPPORT", {0});
    EXPECT_EQ(split.rsp.m_protocol, 2u);
    EXPECT_EQ(g_PortCfg.load(), 0);
    G().fail("gpsclient_portCfg", 281);
    EXPECT_EQ(at_set("^WPPORT", {1}).rsp.m_protocol, 0u);
    EXPECT_EQ(g_PortCfg.load(), 0);

    // Through the dispatcher m_protocol reaches the kernel unchanged.
    G().reset();
    P().reset();
    fake::RequestBytes req("^WPPORT");
    req.num(1);
    nl_syswatch_event_report(req.size(), req.data());
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().sent[0].record().m_protocol, 3u);
    EXPECT_EQ(P().sent[0].size, 31u);
}

TEST_F(Settings, NiNotificationText) {
    fake::RequestBytes req("^NLGPSOPT", NL_TYPE_TEST);
    req.text("\"Your friend asks where you are\"");
    const Answer a = at_call(req, "^NLGPSOPT", NL_TYPE_TEST);
    EXPECT_EQ(a.text(), "\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_send_nitext")->text, "\"Your friend asks where you are\"");
    EXPECT_EQ(G().last("gpsclient_send_nitext")->length, 32);
    EXPECT_TRUE(P().traced("AT_GPS_NiNotify: nitext (\"Your friend asks where you are\")!\r\n"));
    EXPECT_TRUE(P().traced("AT_GPS_NiNotify: nitext length (32)!\r\n"));

    // A length the field cannot hold is not passed on.
    fake::RequestBytes big("^NLGPSOPT", NL_TYPE_TEST);
    big.text(std::string(561, 'n'), 60000);
    at_call(big, "^NLGPSOPT", NL_TYPE_TEST);
    EXPECT_EQ(G().last("gpsclient_send_nitext")->length, 561);

    G().fail("gpsclient_send_nitext", 277);
    EXPECT_EQ(at_call(req, "^NLGPSOPT", NL_TYPE_TEST).rsp.m_retenum, 89);
    fake::RequestBytes none("^NLGPSOPT", NL_TYPE_TEST);
    EXPECT_EQ(at_call(none, "^NLGPSOPT", NL_TYPE_TEST).rsp.m_retenum, 20);
    req.text("second");
    EXPECT_EQ(at_call(req, "^NLGPSOPT", NL_TYPE_TEST).rsp.m_retenum, 96);

    // The dispatcher sends nothing back for this command.
    P().reset();
    nl_syswatch_event_report(none.size(), none.data());
    EXPECT_TRUE(P().sent.empty());
}

}  // namespace

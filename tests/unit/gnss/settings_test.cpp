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
    int32_t none_ret, over_ret;
};

TEST_F(Settings, ParameterCountRules) {
    const CountCase cases[] = {
        {"^WPDOM", "gpsclient_operateMode", 1, 20, 96},
        {"^WPDST", "gpsclient_sessionType", 1, 20, 96},
        {"^WPDFR", "gpsclient_freqAndInterval", 2, 20, 96},
        {"^WPDGL", "gpsclient_locks", 1, 20, 96},
        {"^WPDIM", "gpsclient_aidingData", 1, 20, 96},
        {"^WPDNM", "gpsclient_anyData", 1, 96, 96},
        {"^WPLPM", "gpsclient_WPLPM", 1, 20, 20},
        {"^SUPLACAP", "gpsclient_SuplAutonomousCapable", 1, 20, 20},
        {"^WPPORT", "gpsclient_portCfg", 1, 20, 96},
    };
    for (const CountCase& c : cases) {
        SCOPED_TRACE(c.cmd);
        for (uint32_t n : {0u, c.max + 1, 17u, 1000u}) {
            G().calls.clear();
            EXPECT_TRUE(failed_with(set_n(c.cmd, n), -1, n == 0 ? c.none_ret : c.over_ret)) << n;
            EXPECT_TRUE(G().calls.empty());
        }
        for (uint32_t n = 1; n <= c.max; ++n) {
            G().calls.clear();
            EXPECT_EQ(set_n(c.cmd, n).text(), "\r\nOK\r\n");
            EXPECT_EQ(G().count(c.fn), 1u);
        }
    }
}

// The commands share one table: one of them stands for all (the settings
// transcript checks each command's value, query and test texts).
TEST_F(Settings, ClientFailuresAndRadioCheck) {
    G().fail("gpsclient_locks", 283);
    EXPECT_TRUE(failed_with(at_set("^WPDGL", {1}), 0, 94));
    G().fail("gpsclient_locks", 0);  // failed without a code
    EXPECT_TRUE(failed_with(at_set("^WPDGL", {1}), 0, 20));
    G().fail("gpsclient_locks", 287);
    EXPECT_TRUE(failed_with(at_query("^WPDGL"), 0, 97));
    G().reset();
    G().on("gpsclient_locks").out = {-7};
    EXPECT_EQ(at_query("^WPDGL").text(), "\r\n^WPDGL: -7\r\n\r\nOK\r\n");

    G().radio(1);  // anything but off counts as on here
    EXPECT_EQ(at_test("^WPDGL").rsp.m_retenum, 0);
    G().radio(GPS_RADIO_OFF);
    EXPECT_TRUE(failed_with(at_test("^WPDGL"), 0, 88));
    G().fail("gpsclient_WPCAP", 278);
    EXPECT_TRUE(failed_with(at_test("^WPDGL"), -1, 90));
}

TEST_F(Settings, OperationModeNeedsSuplForAssistedModes) {
    G().on("gpsclient_suplfeature").out = {1};  // SUPL closed
    for (uint32_t mode : {1u, 5u}) {
        const Answer a = at_set("^WPDOM", {mode});
        EXPECT_EQ(a.rsp.m_retenum, 90);
        EXPECT_EQ(a.ret, -1);
    }
    EXPECT_EQ(G().count("gpsclient_operateMode"), 0u);
    EXPECT_EQ(at_set("^WPDOM", {0}).text(), "\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_operateMode")->in, std::vector<int32_t>{0});

    G().on("gpsclient_suplfeature").out = {0};
    EXPECT_EQ(at_set("^WPDOM", {5}).text(), "\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_operateMode")->in, std::vector<int32_t>{5});

    G().fail("gpsclient_suplfeature", 282);
    EXPECT_EQ(at_set("^WPDOM", {0}).rsp.m_retenum, 93);
    EXPECT_EQ(G().count("gpsclient_operateMode"), 2u);
}

TEST_F(Settings, FixRateCountAndSuplCapabilityRange) {
    at_set("^WPDFR", {10});
    EXPECT_EQ(G().last("gpsclient_freqAndInterval")->count, 1);
    at_set("^WPDFR", {10, 30});
    EXPECT_EQ(G().last("gpsclient_freqAndInterval")->in, (std::vector<int32_t>{10, 30}));
    EXPECT_EQ(G().last("gpsclient_freqAndInterval")->count, 2);

    G().calls.clear();
    EXPECT_TRUE(failed_with(at_set("^SUPLACAP", {2}), -1, 20));
    EXPECT_TRUE(failed_with(at_set("^SUPLACAP", {0xFFFFFFFF}), -1, 20));
    EXPECT_TRUE(G().calls.empty());
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

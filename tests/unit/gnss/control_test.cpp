// GNSS control layer: the engine-sharing rule, the radio switch, fix sessions and the control
// operations.
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gnss_control.h"
#include "gps_adapter/gps_at_handlers.h"

namespace {

using namespace gnss_test;
using Calls = std::vector<std::string>;

class Control : public GnssTest {
  protected:
    void SetUp() override {
        GnssTest::SetUp();
        G().radio(GPS_RADIO_ON);
    }
    // The calls that act on the engine or the radio (reads left out).
    static Calls engine_calls() {
        Calls out;
        for (const fake::GpsCall& c : G().calls) {
            if (c.fn == "gpsclient_startFix" || c.fn == "gpsclient_stopFix" ||
                (c.fn == "gpsclient_WPCAP" && c.op == 1)) {
                out.push_back(c.fn == "gpsclient_WPCAP" ? "WPCAP=" + std::to_string(c.in[0])
                                                        : c.fn.substr(10));
            }
        }
        return out;
    }
    static void flags(int32_t gnss, int32_t nmea, int32_t session) {
        g_gnssPortFlag = gnss;
        g_nmeaPortFlag = nmea;
        g_fixsionFlag = session;
    }
    // "$GPERR" reports, seen on the GNSS port.
    std::vector<std::string> errors() {
        std::vector<std::string> out;
        for (const Report& r : reports()) {
            out.push_back(r.text);
        }
        return out;
    }
};

struct Sharing {
    const char* what;
    Answer (*op)();
    int32_t radio, gnss, nmea, session;
    Calls engine;
    int32_t retenum;
    int32_t gnss_after, nmea_after;
};

Answer run(AtHandler h, std::initializer_list<uint32_t> values) {
    fake::RequestBytes req("^X");
    for (uint32_t v : values) {
        req.num(v);
    }
    return gnss_test::at_run(h, req);
}
Answer nmea_start() {
    return run(AT_NMEA_StartFix, {1});
}
Answer nmea_stop() {
    return run(AT_NMEA_StopFix, {1});
}
Answer gnss_start() {
    return run(AT_NMEA_StartFix, {0});
}
Answer gnss_stop() {
    return run(AT_NMEA_StopFix, {0});
}
Answer wpdgp() {
    return gnss_test::at_set("^WPDGP", {});
}
Answer wpend() {
    return gnss_test::at_set("^WPEND", {});
}

TEST_F(Control, EngineSharingBetweenThePorts) {
    const Sharing cases[] = {
        {"nmea start, all idle", nmea_start, 3, 0, 0, 0, {"startFix"}, 0, 0, 1},
        {"nmea start, gnss port runs", nmea_start, 3, 1, 0, 0, {}, 0, 1, 1},
        {"nmea start, session runs", nmea_start, 3, 0, 0, 1, {}, 0, 0, 1},
        {"nmea start, radio off", nmea_start, 0, 0, 0, 0, {}, 0, 0, 1},
        {"nmea start twice", nmea_start, 3, 0, 1, 0, {}, 94, 0, 1},
        {"nmea stop, all idle", nmea_stop, 3, 0, 1, 0, {"stopFix"}, 0, 0, 0},
        {"nmea stop, gnss port runs", nmea_stop, 3, 1, 1, 0, {}, 0, 1, 0},
        {"nmea stop, not running", nmea_stop, 3, 0, 0, 0, {}, 95, 0, 0},
        {"gnss start, all idle", gnss_start, 3, 0, 0, 0, {"startFix"}, 0, 1, 0},
        {"gnss start, session runs", gnss_start, 3, 0, 0, 1, {"startFix"}, 0, 1, 0},
        {"gnss start, nmea runs", gnss_start, 3, 0, 1, 0, {}, 0, 1, 1},
        {"gnss start, radio off", gnss_start, 0, 0, 0, 0, {}, 0, 1, 0},
        {"gnss start twice", gnss_start, 3, 1, 0, 0, {}, 94, 1, 0},
        {"gnss stop, nmea runs", gnss_stop, 3, 1, 1, 0, {}, 0, 0, 1},
        {"gnss stop, not running", gnss_stop, 3, 0, 0, 0, {}, 95, 0, 0},
        {"gnss stop, session runs", gnss_stop, 3, 1, 0, 1, {"stopFix"}, 0, 0, 0},
        {"^WPDGP asks nobody", wpdgp, 0, 0, 1, 1, {"startFix"}, 0, 1, 1},
        {"^WPEND asks nobody", wpend, 0, 1, 1, 1, {"stopFix"}, 0, 0, 1},
    };
    for (const Sharing& c : cases) {
        SCOPED_TRACE(c.what);
        G().calls.clear();
        G().radio(c.radio);
        flags(c.gnss, c.nmea, c.session);
        const Answer a = c.op();
        EXPECT_EQ(engine_calls(), c.engine);
        EXPECT_EQ(a.rsp.m_retenum, c.retenum);
        EXPECT_EQ(a.text(), c.retenum == 0 ? "\r\nOK\r\n" : "");
        EXPECT_EQ(a.ret, 0);
        EXPECT_EQ(g_gnssPortFlag.load(), c.gnss_after);
        EXPECT_EQ(g_nmeaPortFlag.load(), c.nmea_after);
        EXPECT_EQ(g_fixsionFlag.load(), c.session);
    }
}

TEST_F(Control, FailedEngineCallLeavesThePortFlag) {
    struct Case {
        const char* what;
        Answer (*op)();
        const char* fn;
        int32_t err, flag_before, retenum;
        std::atomic<int32_t>* flag;
    } cases[] = {
        {"nmea start", nmea_start, "gpsclient_startFix", 285, 0, 96, &g_nmeaPortFlag},
        {"nmea stop", nmea_stop, "gpsclient_stopFix", 0, 1, 20, &g_nmeaPortFlag},
        {"^WPDGP", wpdgp, "gpsclient_startFix", 281, 0, 92, &g_gnssPortFlag},
        {"^WPEND", wpend, "gpsclient_stopFix", 287, 1, 97, &g_gnssPortFlag},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        G().standing.erase("gpsclient_startFix");
        G().standing.erase("gpsclient_stopFix");
        G().fail(c.fn, c.err);
        flags(0, 0, 0);
        c.flag->store(c.flag_before);
        const Answer a = c.op();
        EXPECT_EQ(a.rsp.m_retenum, c.retenum);
        EXPECT_EQ(a.rsp.m_length, 0u);
        EXPECT_EQ(c.flag->load(), c.flag_before);
    }
}

TEST_F(Control, PortRequestChecks) {
    EXPECT_EQ(run(AT_NMEA_StartFix, {1, 1}).rsp.m_retenum, 20);
    EXPECT_EQ(run(AT_NMEA_StopFix, {}).rsp.m_retenum, 20);
    EXPECT_TRUE(failed_with(run(AT_NMEA_StartFix, {2}), -1, 92));
    EXPECT_TRUE(G().calls.empty());

    G().fail("gpsclient_WPCAP", 276);
    EXPECT_TRUE(failed_with(run(AT_NMEA_StopFix, {0}), -1, 88));
    EXPECT_EQ(G().names(), Calls{"gpsclient_WPCAP"});
}

TEST_F(Control, RadioOffHandsTheRadioCallAZeroedErrorWord) {
    G().on("gpsclient_stopFix").err = 283;  // left behind by a successful stop
    flags(0, 0, 1);
    EXPECT_EQ(GNSS_IOCTRL_Gnss_Radio(0), 0);
    EXPECT_EQ(G().count("gpsclient_WPCAP"), 1u);
}

TEST_F(Control, FixSessionStartFailures) {
    struct Case {
        const char* what;
        const char* failing;
        int32_t err, nmea, ret, session_after;
    } cases[] = {
        {"engine already running for the NMEA port", "gpsclient_sessionType", 283, 1, 283, 1},
        {"engine start", "gpsclient_startFix", 280, 0, 280, 0},
    };
    const uint32_t tracking = 3, interval = 5;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        P().reset();
        G().reset();
        G().radio(GPS_RADIO_ON);
        G().fail(c.failing, c.err);
        flags(1, c.nmea, 0);
        g_nmealoggingFlag = 1;
        EXPECT_EQ(GNSS_IOCTRL_Start_Fixsession(&tracking, &interval), c.ret);
        EXPECT_EQ(g_fixsionFlag.load(), c.session_after);
        const std::string err =
            "\r\n$GPERR,b2," + std::to_string(c.err == 280 ? 4 : c.err) + ",* \r\n";
        bool seen = false;
        for (const Report& r : reports()) {
            seen = seen || (r.port == 54 && r.text == err);
        }
        EXPECT_TRUE(seen);
    }
}

// The values each operation hands the client are checked through the control
// events; here: refused values call nothing, and a failed call shows as "$GPERR".
// Operations of one word; the clear and the reset take other arguments.
int32_t clear(const uint32_t* mode) {
    const uint8_t b = static_cast<uint8_t>(*mode);
    return GNSS_IOCTRL_ClearAgnssData(&b);
}
int32_t reset(const uint32_t*) {
    return IOCTRL_GPS_Reset_Engine();
}

TEST_F(Control, ControlOperationFailures) {
    using Op = int32_t (*)(const uint32_t*);
    const struct {
        Op op;
        uint32_t value;
        const char* fn;  // nullptr: refused before any call
        int32_t ret;
        const char* gperr;  // when fn fails with 282
    } cases[] = {
        {GNSS_IOCTRL_Set_Operate_Mode, 2, "gpsclient_operateMode", 282, "bb,282"},
        {GNSS_IOCTRL_Set_Operate_Mode, 3, nullptr, -1, ""},
        {GNSS_IOCTRL_SET_Ni_Allowed, 1, "gpsclient_WNICT", 282, "b9,282"},
        {GNSS_IOCTRL_SET_Ni_Allowed, 2, nullptr, 281, ""},
        {GNSS_IOCTRL_Set_Nitime, 255, "gpsclient_SET_NITIMER", -1, ""},
        {reset, 0, "gpsclient_aidingData", -1, "b4,282"},
        {clear, 1, "gpsclient_aidingData", -1, ""},
        {clear, 4, nullptr, -1, ""},
    };
    g_gnssPortFlag = 1;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.fn ? c.fn : "refused") << " " << c.value);
        P().reset();
        G().reset();
        if (c.fn != nullptr) {
            G().fail(c.fn, 282);
        }
        EXPECT_EQ(c.op(&c.value), c.ret);
        EXPECT_EQ(G().calls.size(), c.fn != nullptr ? 1u : 0u);
        const std::string err = c.gperr;
        EXPECT_EQ(errors(), err.empty()
                                ? std::vector<std::string>{}
                                : std::vector<std::string>{"\r\n$GPERR," + err + ",* \r\n"});
    }
}

TEST_F(Control, RefusedValuesAreReportedAndLeaveTheState) {
    g_gnssPortFlag = 1;
    g_NiTimer = 17;
    const uint32_t timer = 256;
    EXPECT_EQ(GNSS_IOCTRL_Set_Nitime(&timer), 281);
    EXPECT_EQ(g_NiTimer.load(), 17);
    const uint32_t logging = 2;
    EXPECT_EQ(GNSS_IOCTRL_Set_NMEAlogging_Mode(&logging), -1);
    EXPECT_EQ(g_nmealoggingFlag.load(), 0);
    EXPECT_EQ(errors(),
              (std::vector<std::string>{"\r\n$GPERR,ba,281,* \r\n", "\r\n$GPERR,bd,281,* \r\n"}));
    EXPECT_TRUE(G().calls.empty());

    const uint32_t on = 1;
    EXPECT_EQ(GNSS_IOCTRL_Set_NMEAlogging_Mode(&on), 0);
    EXPECT_EQ(g_nmealoggingFlag.load(), 1);
    // A timer the client refuses is kept all the same.
    G().fail("gpsclient_SET_NITIMER", 0);
    const uint32_t t = 40;
    EXPECT_EQ(GNSS_IOCTRL_Set_Nitime(&t), -1);
    EXPECT_EQ(g_NiTimer.load(), 40);
}

// The values passed are checked through the control events; failures show as "$GPERR".
TEST_F(Control, ServerAddressAndAgnssVersion) {
    g_gnssPortFlag = 1;
    EXPECT_EQ(IOCTRL_GPS_SetGNSSAddr(nullptr, 3), -1);
    G().fail("gpsclient_WPURL", 279);
    EXPECT_EQ(IOCTRL_GPS_SetGNSSAddr("x", 1), -1);
    G().on("gpsclient_AGNSSCFG").out = {1, 2, 1, 1};
    EXPECT_EQ(IOCTRL_GPS_SetAGNSSVer(2), 0);
    G().then("gpsclient_AGNSSCFG", {});
    G().then("gpsclient_AGNSSCFG", {0, 277, {}, {}});
    EXPECT_EQ(IOCTRL_GPS_SetAGNSSVer(1), -1);
    EXPECT_EQ(errors(),
              (std::vector<std::string>{"\r\n$GPERR,bc,279,* \r\n", "\r\n$GPGNSSVER,2,*\r\n",
                                        "\r\n$GPERR,b6,277,* \r\n"}));
}

}  // namespace

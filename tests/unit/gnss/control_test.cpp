// GNSS control layer, called directly and through module 58's control events: the radio switch,
// fix session start failures, refused values and failures shown as "$GPERR", fixed-width
// injection texts.
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gnss_control.h"
#include "tandrel_main.h"

namespace {

using namespace gnss_test;
using Bytes = std::vector<uint8_t>;

class Control : public GnssTest {
  protected:
    void SetUp() override {
        GnssTest::SetUp();
        G().radio(GPS_RADIO_ON);
    }
    // The payload in a buffer of exactly its size, so that a read past it is
    // caught.
    static int32_t raise(uint32_t event, const Bytes& payload) {
        auto copy = std::make_unique<uint8_t[]>(payload.size());
        std::memcpy(copy.get(), payload.data(), payload.size());
        return tandrel_event_dispatch(event, reinterpret_cast<uintptr_t>(copy.get()), 0);
    }
    static void flags(int32_t gnss, int32_t nmea, int32_t session) {
        gnss_set(GnssValue::GnssPortFlag, gnss);
        gnss_set(GnssValue::NmeaPortFlag, nmea);
        gnss_set(GnssValue::FixsionFlag, session);
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

Bytes text(const std::string& s) {
    return Bytes(s.begin(), s.end());
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
        gnss_set(GnssValue::NmealoggingFlag, 1);
        EXPECT_EQ(GNSS_IOCTRL_Start_Fixsession(&tracking, &interval), c.ret);
        EXPECT_EQ(gnss_get(GnssValue::FixsionFlag), c.session_after);
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
    gnss_set(GnssValue::GnssPortFlag, 1);
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

TEST_F(Control, FailuresShowOnlyAsGperr) {
    G().fail("gpsclient_operateMode", 285);
    // No port wants NMEA: the "$GPERR" goes nowhere.
    EXPECT_EQ(raise(58005, {0x01}), 0);
    EXPECT_TRUE(P().sent.empty());
    gnss_set(GnssValue::GnssPortFlag, 1);
    EXPECT_EQ(raise(58005, {0x01}), 0);
    G().fail("gpsclient_aidingData", 282);
    EXPECT_EQ(raise(58008, {0x00}), 0);
    EXPECT_EQ(raise(58007, {0x02}), 0);
    // A failed clear shows nothing, but it reaches the client.
    EXPECT_EQ(raise(58013, {0x01}), 0);
    EXPECT_EQ(G().count("gpsclient_aidingData"), 2u);
    EXPECT_EQ(reports(), (std::vector<Report>{{GNSS_PORT, "\r\n$GPERR,bb,285,* \r\n"},
                                              {GNSS_PORT, "\r\n$GPERR,b4,282,* \r\n"},
                                              {GNSS_PORT, "\r\n$GPERR,bd,281,* \r\n"}}));
}

template <typename Record>
Record passed(const char* fn) {
    Record r{};
    const fake::GpsCall* c = fake::gps().last(fn);
    EXPECT_NE(c, nullptr) << fn;
    if (c != nullptr && c->text.size() == sizeof r) {
        std::memcpy(&r, c->text.data(), sizeof r);
    }
    return r;
}

// Each text is cut to its width and terminated, whatever follows it.
TEST_F(Control, ReferenceInjectionsTakeFixedWidthTexts) {
    EXPECT_EQ(raise(58011, text("1980-01-06T00:00:01.00"
                                "123"
                                "999")),
              0);
    const auto t = passed<GpsRefTimeInfo>("gpsclient_injRefTime");
    EXPECT_EQ(t.time, 1000);
    EXPECT_EQ(t.uncertainty, 123);
    EXPECT_EQ(raise(58012, text(std::string("12.5000000000001"
                                            "-2.5\0\0\0\0\0\0\0\0\0\0\0\0"
                                            "3.25\0\0\0\0\0\0\0\0\0\0\0\0",
                                            48))),
              0);
    const auto p = passed<GpsRefLocInfo>("gpsclient_injRefPos");
    EXPECT_EQ(p.latitude, 12.5000000000001);
    EXPECT_EQ(p.longitude, -2.5);
    EXPECT_EQ(p.accuracy, 3.25f);
}

}  // namespace

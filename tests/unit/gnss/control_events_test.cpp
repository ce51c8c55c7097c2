// GNSS control events of module 58 through the event table: what each payload becomes, null
// payloads and refused values.
#include <vector>

#include "gnss_fixture.h"
#include "tandrel_main.h"

namespace {

using namespace gnss_test;
using Bytes = std::vector<uint8_t>;
using Calls = std::vector<std::string>;

class ControlEvents : public GnssTest {
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
    // The client calls as "name op values", radio reads left out.
    static Calls calls() {
        Calls out;
        for (const fake::GpsCall& c : G().calls) {
            if (c.fn == "gpsclient_WPCAP" && c.op == GPS_OP_GET) {
                continue;
            }
            std::string s = c.fn.substr(10);
            if (c.op != 0) {
                s += " " + std::to_string(c.op);
            }
            for (int32_t v : c.in) {
                s += " " + std::to_string(v);
            }
            if (!c.text.empty()) {
                s += " \"" + c.text + "\" " + std::to_string(c.length);
            }
            out.push_back(s);
        }
        return out;
    }
};

Bytes text(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

struct EventCase {
    uint32_t event;
    Bytes payload;
    int32_t ret;
    Calls calls;
};

// The ids are two 4-byte fields: a NUL ends the first one early.
TEST_F(ControlEvents, CapabilityQueryReadsFixedWidthIds) {
    EXPECT_EQ(raise(58002, text(std::string("12\0\0"
                                            "5678",
                                            8))),
              0);
    EXPECT_EQ(reports(),
              (std::vector<Report>{{GNSS_PORT, "$GPCAP,0,0,1,4,0,0,1,0,0,0,0,1,1,0,*  \r\n"},
                                   {GNSS_PORT, "$GPCHP,12,5678,V1.0.3,*  \r\n"}}));
}

TEST_F(ControlEvents, FailuresShowOnlyAsGperr) {
    G().fail("gpsclient_operateMode", 285);
    // No port wants NMEA: the "$GPERR" goes nowhere.
    EXPECT_EQ(raise(58005, {0x01}), 0);
    EXPECT_TRUE(P().sent.empty());
    g_gnssPortFlag = 1;
    EXPECT_EQ(raise(58005, {0x01}), 0);
    G().fail("gpsclient_aidingData", 282);
    EXPECT_EQ(raise(58008, {0x00}), 0);
    EXPECT_EQ(raise(58007, {0x02}), 0);
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
TEST_F(ControlEvents, ReferenceInjectionsTakeFixedWidthTexts) {
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

TEST_F(ControlEvents, NullPayloadCallsNothing) {
    for (uint32_t event :
         {58002, 58003, 58004, 58005, 58006, 58007, 58009, 58010, 58011, 58012, 58013, 58015}) {
        SCOPED_TRACE(event);
        EXPECT_EQ(tandrel_event_dispatch(event, 0, 5), -1);
    }
    EXPECT_TRUE(G().calls.empty());
    EXPECT_TRUE(P().sent.empty());
    // The engine reset reads no payload.
    EXPECT_EQ(tandrel_event_dispatch(58008, 0, 0), 0);
    EXPECT_EQ(calls(), Calls{"aidingData 1 4"});
}

}  // namespace

// GNSS reports: the sentence length the client passes, and the port configuration read.
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gnss_reports.h"

namespace {

using namespace gnss_test;

const std::string kRmc =
    "$GPRMC,092751.000,A,5321.6802,N,00630.3371,W,0.06,31.66,280511,,,A*45\r\n";

struct Length {
    const char* what;
    std::string bytes;  // the caller's buffer, exactly these bytes
    int32_t length;
    std::vector<Report> gnss_port;  // forwarded by the route (gnss port flag)
    std::vector<Report> copy;       // the NMEA-port copy of a fix session
};

TEST_F(GnssTest, SentenceLengthOfTheRouteAndOfTheFixSessionCopy) {
    const Length cases[] = {
        {"length shorter than the text", std::string("$GPTXT,1*00\0", 12), 6, {{54, "$GPTXT"}},
         {{55, "$GPTXT,1*00"}}},
        {"text shorter than the length", std::string("$GPTXT\0garbage", 14), 14, {{54, "$GPTXT"}},
         {{55, "$GPTXT"}}},
        {"huge length stops at the NUL", std::string("$GPTXT\0", 7), 0x7fffffff,
         {{54, "$GPTXT"}}, {{55, "$GPTXT"}}},
        {"zero length: an empty report", std::string("$GPTXT\0", 7), 0, {{54, ""}},
         {{55, "$GPTXT"}}},
        {"negative length: an empty report", std::string("$GPTXT\0", 7), -5, {{54, ""}},
         {{55, "$GPTXT"}}},
        {"empty text", std::string("\0", 1), 0, {{54, ""}}, {{55, ""}}},
        {"extension cut short is still the extension", std::string("$GPZQLOC,1\0", 11), 5, {},
         {}},
        {"extension name cut by its NUL is forwarded", std::string("$GPZQ\0", 6), 9,
         {{54, "$GPZQ"}}, {{55, "$GPZQ"}}},
        {"longer than a report", std::string(20000, 'A') + '\0', 20000,
         {{54, std::string(10203, 'A')}}, {{55, std::string(10203, 'A')}}},
    };
    for (const Length& c : cases) {
        SCOPED_TRACE(c.what);
        // A heap copy of exactly the bytes, so that reading past them is caught.
        std::vector<char> buf(c.bytes.begin(), c.bytes.end());
        P().reset();
        gnss_set(GnssValue::GnssPortFlag, 1);
        gnss_set(GnssValue::NmeaPortFlag, 0);
        gnss_set(GnssValue::FixsionFlag, 0);
        AT_nmea_cb(0, buf.data(), c.length);
        EXPECT_EQ(reports(), c.gnss_port);
        P().reset();
        gnss_set(GnssValue::GnssPortFlag, 0);
        gnss_set(GnssValue::NmeaPortFlag, 1);
        gnss_set(GnssValue::FixsionFlag, 1);
        AT_nmea_cb(0, buf.data(), c.length);
        EXPECT_EQ(reports(), c.copy);
    }
    AT_nmea_cb(0, nullptr, 10);
}

TEST_F(GnssTest, PortConfigurationIsReadOnceWithOneRetry) {
    struct Case {
        const char* what;
        std::vector<fake::GpsReply> replies;
        uint32_t port;
        std::vector<uint32_t> sleeps;
    } cases[] = {
        {"first read answers", {{1, 0, {1}, {}}}, 6, {}},
        {"second read answers", {{0, 283, {}, {}}, {1, 0, {1}, {}}}, 6, {100}},
        {"both fail: split output", {{0, 283, {7}, {}}, {0, 283, {7}, {}}}, 54, {100}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        P().reset();
        fake::gps().reset();
        gnss_adapter_reset();
        for (const fake::GpsReply& r : c.replies) {
            G().then("gpsclient_portCfg", r);
        }
        gnss_set(GnssValue::GnssPortFlag, 1);
        nmea(kRmc);
        nmea(kRmc);
        EXPECT_EQ(G().count("gpsclient_portCfg"), c.replies.size());
        EXPECT_EQ(G().last("gpsclient_portCfg")->op, 2);
        EXPECT_EQ(P().sleeps, c.sleeps);
        EXPECT_EQ(gnss_get(GnssValue::PortCfgReady), 1);
        EXPECT_EQ(reports(), (std::vector<Report>{{c.port, kRmc}, {c.port, kRmc}}));
    }
}

// The status record's words 3 (counted from 1) and 2 become ^POSEND on PCUI.
TEST_F(GnssTest, PosendReport) {
    const int32_t words[4] = {0, 0, 7, 1};
    AT_status_cb(const_cast<int32_t*>(words));
    EXPECT_EQ(reports(GNSS_REPORT_ID_POSEND), (std::vector<Report>{{0, "\r\n^POSEND: 0,7\r\n"}}));
    AT_status_cb(nullptr);
    EXPECT_EQ(P().sent.size(), 1u);
}

}  // namespace

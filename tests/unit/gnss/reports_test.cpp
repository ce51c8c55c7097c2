// GNSS reports: NMEA routing by port configuration and flags, ^POSEND, NI requests, $GPERR,
// $GPCAP/$GPCHP.
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gnss_reports.h"

namespace {

using namespace gnss_test;

const std::string kRmc =
    "$GPRMC,092751.000,A,5321.6802,N,00630.3371,W,0.06,31.66,280511,,,A*45\r\n";

struct Route {
    const char* what;
    int32_t port_cfg, nmea, gnss, session, logging;
    std::vector<uint32_t> ports;  // where the sentence arrives, in order
};

TEST_F(GnssTest, NmeaIsRoutedByPortConfigurationAndFlags) {
    const Route cases[] = {
        {"nmea port only", 0, 1, 0, 0, 0, {55}},
        {"gnss port only", 0, 0, 1, 0, 0, {54}},
        {"both ports", 0, 1, 1, 0, 0, {55, 54}},
        {"single port gets it twice", 1, 1, 1, 0, 0, {6, 6}},
        {"nobody wants it", 0, 0, 0, 0, 0, {}},
        {"nobody, single port", 1, 0, 0, 0, 0, {}},
        {"session without logging: nmea copy only", 0, 1, 0, 1, 0, {55}},
        {"session with logging: nmea port twice", 0, 1, 0, 1, 1, {55, 55}},
        {"session with logging, single port: copy stays on 55", 1, 1, 0, 1, 1, {55, 6}},
        {"session without logging hides the gnss port", 0, 0, 1, 1, 0, {}},
        {"session with logging, gnss port", 0, 0, 1, 1, 1, {54}},
        {"session alone", 0, 0, 0, 1, 1, {}},
    };
    for (const Route& c : cases) {
        SCOPED_TRACE(c.what);
        P().reset();
        g_PortCfg = c.port_cfg;
        g_nmeaPortFlag = c.nmea;
        g_gnssPortFlag = c.gnss;
        g_fixsionFlag = c.session;
        g_nmealoggingFlag = c.logging;
        nmea(kRmc, 1234);
        std::vector<Report> want;
        for (uint32_t port : c.ports) {
            want.push_back({port, kRmc});
        }
        EXPECT_EQ(reports(), want);
    }
}

TEST_F(GnssTest, PositionExtensionIsNeverForwarded) {
    g_nmeaPortFlag = 1;
    g_gnssPortFlag = 1;
    for (int session = 0; session < 2; ++session) {
        g_fixsionFlag = session;
        g_nmealoggingFlag = 1;
        nmea("$GPZQLOC,2.1,12.5,0.3*5A\r\n");
    }
    // Only the session's own "$GPFIXAD" comes of it.
    EXPECT_EQ(reports(), (std::vector<Report>{{54, "$GPFIXAD,,,,2.1*  \r\n"}}));
}

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
        g_gnssPortFlag = 1;
        g_nmeaPortFlag = 0;
        g_fixsionFlag = 0;
        AT_nmea_cb(0, buf.data(), c.length);
        EXPECT_EQ(reports(), c.gnss_port);
        P().reset();
        g_gnssPortFlag = 0;
        g_nmeaPortFlag = 1;
        g_fixsionFlag = 1;
        AT_nmea_cb(0, buf.data(), c.length);
        EXPECT_EQ(reports(), c.copy);
    }
    AT_nmea_cb(0, nullptr, 10);
}

TEST_F(GnssTest, FailedAllocationsLoseOneReport) {
    g_nmeaPortFlag = 1;
    g_fixsionFlag = 1;
    g_nmealoggingFlag = 1;
    P().fail_alloc_at = 1;  // the route's own buffer: nothing at all happens
    nmea("$GPGGA,092750.000,5321.6802,N,00630.3372,W,0,0,,,M,,M,,*4B\r\n");
    EXPECT_TRUE(P().sent.empty());

    P().reset();
    P().fail_alloc_at = 2;  // the NMEA port copy of the session
    nmea(kRmc);
    EXPECT_EQ(reports(), (std::vector<Report>{{55, kRmc}}));
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
        g_gnssPortFlag = 1;
        nmea(kRmc);
        nmea(kRmc);
        EXPECT_EQ(G().count("gpsclient_portCfg"), c.replies.size());
        EXPECT_EQ(G().last("gpsclient_portCfg")->op, 2);
        EXPECT_EQ(P().sleeps, c.sleeps);
        EXPECT_EQ(g_PortCfgReady.load(), 1);
        EXPECT_EQ(reports(), (std::vector<Report>{{c.port, kRmc}, {c.port, kRmc}}));
    }
}

TEST_F(GnssTest, PosendReport) {
    const int32_t words[] = {9, 9, 7, 1, 9};
    AT_status_cb(const_cast<int32_t*>(words));
    g_PortCfg = 1;
    const int32_t wrap[] = {0, 0, -3, INT32_MIN};
    AT_status_cb(const_cast<int32_t*>(wrap));
    EXPECT_EQ(
        reports(GNSS_REPORT_ID_POSEND),
        (std::vector<Report>{{0, "\r\n^POSEND: 0,7\r\n"}, {6, "\r\n^POSEND: 2147483647,-3\r\n"}}));

    P().reset();
    AT_status_cb(nullptr);
    g_posendFlag = 0;
    AT_status_cb(const_cast<int32_t*>(words));
    EXPECT_TRUE(P().sent.empty());
}

GpsNiRecord ni_record(int32_t type, int32_t id, const std::string& text) {
    GpsNiRecord r{};
    r.req_type = type;
    r.word1 = 11;
    r.word2 = 22;
    std::memcpy(r.text, text.data(), std::min(text.size(), sizeof r.text));
    r.req_id = id;
    return r;
}

TEST_F(GnssTest, NiRequestReportsMapTheRequestType) {
    g_gnssPortFlag = 1;  // $GPNIR takes the NMEA route
    g_NiTimer = 30;
    const int32_t mapped[] = {3, 2, 1, 4, 5};
    for (int32_t type = 0; type < 5; ++type) {
        SCOPED_TRACE(type);
        P().reset();
        GpsNiRecord r = ni_record(type, 40 + type, "Friend locates you");
        AT_nipara_cb(&r);
        ASSERT_EQ(P().sent.size(), 2u);
        const AtResponse nir = P().sent[0].record();
        EXPECT_EQ(nir.m_uindex, 54u);
        EXPECT_EQ(nir.m_id, 58u);
        EXPECT_EQ(P().sent[0].text(), "$GPNIR," + std::to_string(40 + type) + ",1," +
                                          std::to_string(mapped[type]) + ",1,30,*  \r\n");
        const AtResponse inv = P().sent[1].record();
        EXPECT_EQ(inv.m_uindex, 0u);
        EXPECT_EQ(inv.m_id, 19u);
        EXPECT_EQ(inv.m_protocol, 1u);
        EXPECT_EQ(P().sent[1].size, inv.m_length + 25);
        EXPECT_EQ(P().sent[1].text(), "\r\n^WNINV: " + std::to_string(type) +
                                          ",11,22,Friend locates you,,,,,,,," +
                                          std::to_string(40 + type) + "\r\n");
        EXPECT_EQ(g_NiReqId.load(), 40 + type);
    }
}

TEST_F(GnssTest, NiRequestOfUnknownTypeIsDropped) {
    g_gnssPortFlag = 1;
    g_NiReqId = 5;
    for (int32_t type : {5, -1, 1000}) {
        GpsNiRecord r = ni_record(type, 77, "x");
        AT_nipara_cb(&r);
    }
    AT_nipara_cb(nullptr);
    EXPECT_TRUE(P().sent.empty());
    EXPECT_EQ(g_NiReqId.load(), 5);
}

TEST_F(GnssTest, LongNiTextIsCutAndTheReportKeepsItsEnd) {
    g_PortCfg = 1;
    GpsNiRecord r = ni_record(1, 65535, "");
    std::memset(r.text, 'x', sizeof r.text);  // no NUL in the whole field
    AT_nipara_cb(&r);
    ASSERT_EQ(P().sent.size(), 1u);  // no port wants $GPNIR
    const std::string t = P().sent[0].text();
    EXPECT_EQ(P().sent[0].record().m_uindex, 6u);
    EXPECT_EQ(t.size(), 255u);
    EXPECT_EQ(t.substr(0, 18), "\r\n^WNINV: 1,11,22,");
    EXPECT_EQ(t.substr(t.size() - 16), "x,,,,,,,,65535\r\n");
}

TEST_F(GnssTest, ErrorReportPassesKnownCodesOnly) {
    const std::pair<int32_t, int32_t> codes[] = {
        {4, 4},   {276, 276}, {279, 279}, {280, 4}, {285, 285},
        {286, 4}, {287, 287}, {288, 4},   {275, 4}, {-1, 4},
    };
    g_gnssPortFlag = 1;
    for (const auto& [code, shown] : codes) {
        P().reset();
        GNSS_IOCTRL_ReportErr("b2", code);
        EXPECT_EQ(reports(),
                  (std::vector<Report>{{54, "\r\n$GPERR,b2," + std::to_string(shown) + ",* \r\n"}}))
            << code;
    }
    P().reset();
    GNSS_IOCTRL_ReportErr(nullptr, 281);
    GNSS_IOCTRL_ReportErr("a-very-long-tag", 281);  // cut to the 24-character buffer
    EXPECT_EQ(reports(), (std::vector<Report>{{54, "\r\n$GPERR,a-very-long-tag"}}));
}

TEST_F(GnssTest, CapabilityFallsBackToSupl1WithoutAVersion) {
    struct Case {
        const char* what;
        fake::GpsReply agnss;
        int32_t supl;
    } cases[] = {
        {"result other than 1", {2, 0, {0, 0, 2, 0}, {}}, 1},
        {"read fails", {0, 276, {}, {}}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        P().reset();
        G().on("gpsclient_AGNSSCFG") = c.agnss;
        EXPECT_EQ(GNSS_IOCTRL_GetInfo("12345678", "5678"), 0);
        EXPECT_EQ(reports(), (std::vector<Report>{{54, "$GPCAP,0,0,1,4,0,0,1,0,0,0,0,1," +
                                                           std::to_string(c.supl) + ",0,*  \r\n"},
                                                  {54, "$GPCHP,1234,5678,V1.0.3,*  \r\n"}}));
    }
}

TEST_F(GnssTest, IdentitySentenceWithBrokenVersion) {
    g_PortCfg = 1;
    G().cgmr_result = 1;
    G().cgmr_bytes = std::string(66, 'v');  // no NUL anywhere
    EXPECT_EQ(GNSS_IOCTRL_GetInfo("ab", "cd"), 0);
    ASSERT_EQ(P().sent.size(), 2u);
    EXPECT_EQ(P().sent[1].record().m_uindex, 6u);
    EXPECT_EQ(P().sent[1].text(), "$GPCHP,ab,cd," + std::string(19, 'v') + ",*  \r\n");

    P().reset();
    G().calls.clear();
    P().fail_alloc_at = 1;
    EXPECT_EQ(GNSS_IOCTRL_GetInfo("ab", "cd"), -1);
    EXPECT_TRUE(P().sent.empty());
    EXPECT_EQ(G().count("gpsclient_AGNSSCFG"), 0u);
}

}  // namespace

// Fix sentences built from real-looking NMEA epochs while a fix session is open.
#include <cstdio>
#include <vector>

#include "gnss_fixture.h"

namespace {

using namespace gnss_test;

// "$<body>*<checksum>\r\n".
std::string sentence(const std::string& body) {
    unsigned sum = 0;
    for (char c : body) {
        sum ^= static_cast<unsigned char>(c);
    }
    char tail[8];
    snprintf(tail, sizeof tail, "*%02X\r\n", sum);
    return "$" + body + tail;
}

class FixSentences : public GnssTest {
  protected:
    void SetUp() override {
        GnssTest::SetUp();
        gnss_set(GnssValue::FixsionFlag, 1);
    }
    // Reports of the GNSS side only (the fix sentences).
    std::vector<std::string> fixes(uint32_t port = 54) {
        std::vector<std::string> out;
        for (const Report& r : reports()) {
            EXPECT_EQ(r.port, port) << r.text;
            out.push_back(r.text);
        }
        return out;
    }
};

using Texts = std::vector<std::string>;

TEST_F(FixSentences, FixWaitsForItsSpeedValues) {
    nmea(sentence("GPGGA,092750.000,3356.4512,S,15112.3321,W,1,08,1.03,61.7,M,55.2,M,,"), 5000);
    EXPECT_TRUE(P().sent.empty());

    nmea(sentence("GPZQLOC,3.2,12.5,0.8"), 5100);
    nmea(sentence("GPZQLOC,,13.0,x"), 5200);  // speed2 unreadable: the old one stays
    nmea(sentence("GPGGA,092751.000,,,,,0,00,,,M,,M,,"), 6000);
    nmea(sentence("GPZQLOC,,14.0,1.0"), 6100);
    EXPECT_EQ(fixes(), (Texts{
                           "$GPFIXBD,5000,1,-3356.4512,-15112.3321,61.7,12.5,0.8*  \r\n",
                           "$GPFIXAD,,,,3.2*  \r\n",
                           "$GPFIXBD,5000,1,-3356.4512,-15112.3321,61.7,13.0,0.8*  \r\n",
                           "$GPFIXBD,6000,0,,,,,*  \r\n",
                       }));
    EXPECT_TRUE(P().traced("get speed failed !\r\n"));
}

TEST_F(FixSentences, OversizedSentencesAreCutNeverOverrun) {
    // Fields longer than 49 characters, values longer than their slots, more
    // than 50 fields.
    const std::string f70(70, '7');
    std::string gsv = "$GPGSV,1,1," + f70 + ",12345678901";
    for (int i = 0; i < 60; ++i) {
        gsv += ",1";
    }
    nmea(gsv + "*", 1);
    nmea("$GPGGA,1," + std::string(60, '4') + ",S,1,E,1,8,1," + std::string(30, '9') + ",M*", 2);
    nmea("$GPZQLOC,," + std::string(40, '5') + ",1*", 3);
    EXPECT_EQ(fixes(),
              (Texts{"$GPFIXSL,777777777,123456789,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,*  \r\n",
                     "$GPFIXBD,2,1,-" + std::string(18, '4') + ",1," + std::string(19, '9') + "," +
                         std::string(19, '5') + ",1*  \r\n"}));

    P().reset();
    // The '*' only past the 254 characters that are looked at.
    nmea("$GPGGA,1,,,,,0" + std::string(300, ',') + "*", 4);
    // The length ends the sentence before its NUL and its '*'.
    const std::string raw = "$GPGGA,1,,,,,0,0,,,M,,M,,*";
    std::vector<char> buf(raw.begin(), raw.end());
    buf.push_back('\0');
    AT_nmea_cb(5, buf.data(), static_cast<int32_t>(raw.size()));
    EXPECT_EQ(fixes(), Texts{"$GPFIXBD,5,0,,,,,*  \r\n"});
    EXPECT_TRUE(P().traced("GNSS_IOCTRL_Getfixdata ynema is  NULL \r\n"));
}

}  // namespace

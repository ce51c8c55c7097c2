// Reference time and position: ^GNSSINJTIME, ^GNSSINJPOS and the control-event entry points.
#include <cstring>
#include <string>
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gps_at_handlers.h"

namespace {

using namespace gnss_test;

class Injection : public GnssTest {
  protected:
    // The record of the last call of fn: operation 1, 24 bytes, zero padding.
    template <typename Record>
    Record record(const char* fn) {
        const fake::GpsCall* c = G().last(fn);
        Record r{};
        EXPECT_NE(c, nullptr) << fn;
        if (c != nullptr && c->text.size() == sizeof r) {
            EXPECT_EQ(c->op, 1);
            EXPECT_EQ(c->text.substr(20), std::string(4, '\0')) << "padding";
            std::memcpy(&r, c->text.data(), sizeof r);
        }
        return r;
    }
    GpsRefTimeInfo time_record() { return record<GpsRefTimeInfo>("gpsclient_injRefTime"); }
    GpsRefLocInfo pos_record() { return record<GpsRefLocInfo>("gpsclient_injRefPos"); }
};

Answer send(const char* cmd, const std::vector<std::string>& params) {
    fake::RequestBytes req(cmd, NL_TYPE_SET);
    for (const std::string& p : params) {
        req.text(p);
    }
    return at_call(req, cmd, NL_TYPE_SET);
}

// 2017-01-01 00:00:00 UTC is GPS second 1167264018 (18 leap seconds).
constexpr int64_t kGps2017 = 1167264018000;

TEST_F(Injection, TimeReachesTheClientAsGpsMilliseconds) {
    const Answer a = send("^GNSSINJTIME", {"\"2017-01-01T00:00:01.25\"", "123456789012", "-40"});
    EXPECT_EQ(a.ret, 0);
    EXPECT_EQ(a.text(), "\r\nOK\r\n");
    const GpsRefTimeInfo r = time_record();
    EXPECT_EQ(r.time, kGps2017 + 1250);
    EXPECT_EQ(r.time_ref, 123456789012);
    EXPECT_EQ(r.uncertainty, -40);
}

TEST_F(Injection, TimeRefusals) {
    const std::string t = "\"2017-01-01T00:00:00.00\"";
    const struct {
        const char* what;
        std::vector<std::string> params;
        int32_t retenum;
    } cases[] = {
        {"four parameters", {t, "1", "1", "1"}, 96},
        {"21 characters", {"\"2017-01-01T00:00:00.0\"", "1", "1"}, 92},
        {"no quotes", {"x2017-01-01T00:00:00.00x", "1", "1"}, 92},
        {"no such day", {"\"2017-02-29T00:00:00.00\"", "1", "1"}, 92},
        {"time ref past int64", {t, "9223372036854775808", "1"}, 92},
        {"uncertainty past int", {t, "1", "2147483648"}, 92},
        {"uncertainty empty", {t, "1", ""}, 92},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_TRUE(failed_with(send("^GNSSINJTIME", c.params), -1, c.retenum));
    }
    EXPECT_TRUE(G().calls.empty());
}

TEST_F(Injection, PositionInDegreesWithHemispheres) {
    const struct {
        const char *lat, *ns, *lon, *ew;
        double want_lat, want_lon;
    } cases[] = {
        {"\"0030.0\"", "\"S\"", "\"00000.6\"", "\"E\"", -0.5, 0.01},
        {"\"9000\"", "\"N\"", "\"18000\"", "\"E\"", 90.0, 180.0},
        {"\"12345678901\"", "\"N\"", "\"0\"", "\"W\"", 123456789.0 + 1 / 60.0, 0.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lat);
        EXPECT_EQ(send("^GNSSINJPOS", {c.lat, c.ns, c.lon, c.ew, "10.5"}).text(), "\r\nOK\r\n");
        EXPECT_NEAR(pos_record().latitude, c.want_lat, 1e-6);
        EXPECT_NEAR(pos_record().longitude, c.want_lon, 1e-6);
    }
    // The worked example, to the last digit that matters.
    EXPECT_EQ(pos_record().accuracy, 10.5f);
    send("^GNSSINJPOS", {"\"3150.5000\"", "\"N\"", "\"11820.1000\"", "\"W\"", "10"});
    EXPECT_NEAR(pos_record().latitude, 31.8416666666, 1e-9);
    EXPECT_NEAR(pos_record().longitude, -118.335, 1e-9);
}

TEST_F(Injection, PositionRefusals) {
    const std::string lat = "\"3150.5\"", lon = "\"11820.1\"";
    const std::vector<std::string> cases[] = {
        {lat, "\"N\"", lon, "\"E\"", "1", "1"},  // 96: too many
        {lat, "\"N\"", "\"+11820.1\"", "\"E\"", "1"},
        {lat, "\"E\"", lon, "\"E\"", "1"},
        {lat, "\"N\"", lon, "\"w\"", "1"},
        {"\"123456789012\"", "\"N\"", lon, "\"E\"", "1"},
        {lat, "N", lon, "\"E\"", "1"},
        {"\"31x0.5\"", "\"N\"", lon, "\"E\"", "1"},
        {lat, "\"N\"", "\"11820.1 \"", "\"E\"", "1"},
        {lat, "\"N\"", lon, "\"E\"", "\"10\""},
        {lat, "\"N\"", lon, "\"E\"", "1e39"},  // past a float
    };
    for (const auto& params : cases) {
        SCOPED_TRACE(::testing::PrintToString(params));
        EXPECT_TRUE(failed_with(send("^GNSSINJPOS", params), -1, params.size() == 6 ? 96 : 92));
    }
    EXPECT_TRUE(G().calls.empty());
}

TEST_F(Injection, ControlEventEntryPoints) {
    EXPECT_EQ(AT_GPS_InjRefTime_ioctl("2017-01-01T00:00:00.00", "050"), 0);
    GpsRefTimeInfo t = time_record();
    EXPECT_EQ(t.time, kGps2017);
    EXPECT_EQ(t.time_ref, 0);
    EXPECT_EQ(t.uncertainty, 50);

    // Decimal degrees with their own sign, no minutes conversion.
    EXPECT_EQ(AT_GPS_InjRefLocInfo_ioctl("-31.5", "118.25", "3"), 0);
    const GpsRefLocInfo p = pos_record();
    EXPECT_EQ(p.latitude, -31.5);
    EXPECT_EQ(p.longitude, 118.25);
    EXPECT_EQ(p.accuracy, 3.0f);

    G().calls.clear();
    for (int32_t ret :
         {AT_GPS_InjRefTime_ioctl(nullptr, "1"),
          AT_GPS_InjRefTime_ioctl("2017-01-01 00:00:00.00", "1"),
          AT_GPS_InjRefTime_ioctl("2017-01-01T00:00:00.00", " 50"),
          AT_GPS_InjRefLocInfo_ioctl("1", nullptr, "1"), AT_GPS_InjRefLocInfo_ioctl("N1", "1", "1"),
          AT_GPS_InjRefLocInfo_ioctl("1", "", "1"), AT_GPS_InjRefLocInfo_ioctl("1", "1", "x")}) {
        EXPECT_EQ(ret, -1);
    }
    EXPECT_TRUE(G().calls.empty());

    G().fail("gpsclient_injRefTime", 277);
    G().fail("gpsclient_injRefPos", 277);
    EXPECT_EQ(AT_GPS_InjRefTime_ioctl("2017-01-01T00:00:00.00", "1"), -1);
    EXPECT_EQ(AT_GPS_InjRefLocInfo_ioctl("1", "1", "1"), -1);
}

}  // namespace

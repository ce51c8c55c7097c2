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
    EXPECT_TRUE(P().traced("AT_GPS_InjRefTime: time length is (24)!\r\n"));
}

TEST_F(Injection, TimeRefusals) {
    const std::string t = "\"2017-01-01T00:00:00.00\"";
    const struct {
        std::vector<std::string> params;
        int32_t retenum;
        const char* trace;
    } cases[] = {
        {{t, "1"}, 20, "not enough params!\r\n"},
        {{t, "1", "1", "1"}, 96, "params number error!\r\n"},
        {{"\"2017-01-01T00:00:00.0\"", "1", "1"}, 92, "time params is invalid!\r\n"},
        {{"\"2017-01-01T00:00:00.000\"", "1", "1"}, 92, "time params is invalid!\r\n"},
        {{"x2017-01-01T00:00:00.00x", "1", "1"}, 92, "quotes have error!\r\n"},
        {{"\"2017-02-29T00:00:00.00\"", "1", "1"}, 92, "change to GPS time is error!\r\n"},
        {{t, "9223372036854775808", "1"}, 92, "change the int64 number is error!\r\n"},
        {{t, "1", "2147483648"}, 92, "change the int number is error!\r\n"},
        {{t, "1", ""}, 92, "change the int number is error!\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.trace);
        P().reset();
        const Answer a = send("^GNSSINJTIME", c.params);
        EXPECT_TRUE(failed_with(a, -1, c.retenum));
        EXPECT_TRUE(P().traced(c.trace));
    }
    EXPECT_TRUE(G().calls.empty());
}

TEST_F(Injection, PositionInDegreesWithHemispheres) {
    const struct {
        const char *lat, *ns, *lon, *ew;
        double want_lat, want_lon;
    } cases[] = {
        {"\"3150.5000\"", "\"N\"", "\"11820.1000\"", "\"W\"", 31.0 + 50.5 / 60, -(118.0 + 20.1 / 60)},
        {"\"0030.0\"", "\"S\"", "\"00000.6\"", "\"E\"", -0.5, 0.01},
        {"\"9000\"", "\"N\"", "\"18000\"", "\"E\"", 90.0, 180.0},
        {"\"12345678901\"", "\"N\"", "\"0\"", "\"W\"", 123456789.0 + 1 / 60.0, 0.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lat);
        const Answer a = send("^GNSSINJPOS", {c.lat, c.ns, c.lon, c.ew, "10.5"});
        EXPECT_EQ(a.text(), "\r\nOK\r\n");
        const GpsRefLocInfo r = pos_record();
        EXPECT_NEAR(r.latitude, c.want_lat, 1e-6);
        EXPECT_NEAR(r.longitude, c.want_lon, 1e-6);
        EXPECT_EQ(r.accuracy, 10.5f);
    }
    // The worked example, to the last digit that matters.
    send("^GNSSINJPOS", {"\"3150.5000\"", "\"N\"", "\"11820.1000\"", "\"W\"", "10"});
    EXPECT_NEAR(pos_record().latitude, 31.8416666666, 1e-9);
    EXPECT_NEAR(pos_record().longitude, -118.335, 1e-9);
}

TEST_F(Injection, PositionRefusals) {
    const std::string lat = "\"3150.5\"", lon = "\"11820.1\"";
    const struct {
        std::vector<std::string> params;
        int32_t retenum;
        const char* trace;
    } cases[] = {
        {{lat, "\"N\"", lon, "\"E\""}, 20, "not enough params!\r\n"},
        {{lat, "\"N\"", lon, "\"E\"", "1", "1"}, 96, "too many params!\r\n"},
        {{"\"-3150.5\"", "\"N\"", lon, "\"E\"", "1"}, 92, "the num do not have the '+' and '-'!\r\n"},
        {{lat, "\"N\"", "\"+11820.1\"", "\"E\"", "1"}, 92, "the num do not have the '+' and '-'!\r\n"},
        {{lat, "\"n\"", lon, "\"E\"", "1"}, 92, "the latitude_type have error!\r\n"},
        {{lat, "\"E\"", lon, "\"E\"", "1"}, 92, "the latitude_type have error!\r\n"},
        {{lat, "\"N\"", lon, "\"w\"", "1"}, 92, "the longitude_type have error!\r\n"},
        {{"\"123456789012\"", "\"N\"", lon, "\"E\"", "1"}, 92, "time params is invalid!\r\n"},
        {{lat, "\"NN\"", lon, "\"E\"", "1"}, 92, "time params is invalid!\r\n"},
        {{lat, "N", lon, "\"E\"", "1"}, 92, "time params is invalid!\r\n"},
        {{lat, "\"N\"", lon, "E,E", "1"}, 92, "quotes have error!\r\n"},
        {{"3150.5", "\"N\"", lon, "\"E\"", "1"}, 92, "quotes have error!\r\n"},
        {{"\"31x0.5\"", "\"N\"", lon, "\"E\"", "1"}, 92, "change the number error!\r\n"},
        {{"\"\"", "\"N\"", lon, "\"E\"", "1"}, 92, "change the number error!\r\n"},
        {{lat, "\"N\"", "\"11820.1 \"", "\"E\"", "1"}, 92, "change number is error!\r\n"},
        {{lat, "\"N\"", lon, "\"E\"", "\"10\""}, 92, "change number is error!\r\n"},
        {{lat, "\"N\"", lon, "\"E\"", "1e39"}, 92, "change number is error!\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.params[0] + " " + c.params[1] + " " + c.trace);
        P().reset();
        const Answer a = send("^GNSSINJPOS", c.params);
        EXPECT_TRUE(failed_with(a, -1, c.retenum));
        EXPECT_TRUE(P().traced(c.trace));
    }
    EXPECT_TRUE(G().calls.empty());
}

TEST_F(Injection, ClientFailureIsMapped) {
    G().fail("gpsclient_injRefTime", 281);
    Answer a = send("^GNSSINJTIME", {"\"2017-01-01T00:00:00.00\"", "0", "0"});
    EXPECT_TRUE(failed_with(a, 0, 92));
    G().fail("gpsclient_injRefPos", 283);
    a = send("^GNSSINJPOS", {"\"1\"", "\"N\"", "\"1\"", "\"E\"", "1"});
    EXPECT_EQ(a.ret, 0);
    EXPECT_EQ(a.rsp.m_retenum, 94);
}

TEST_F(Injection, ControlEventEntryPoints) {
    EXPECT_EQ(AT_GPS_InjRefTime_ioctl("2017-01-01T00:00:00.00", "050"), 0);
    GpsRefTimeInfo t = time_record();
    EXPECT_EQ(t.time, kGps2017);
    EXPECT_EQ(t.time_ref, 0);
    EXPECT_EQ(t.uncertainty, 50);
    EXPECT_TRUE(P().traced("AT_GPS_InjRefTime_ioctl: InjRef time success!\r\n"));

    // Decimal degrees with their own sign, no minutes conversion.
    EXPECT_EQ(AT_GPS_InjRefLocInfo_ioctl("-31.5", "118.25", "3"), 0);
    const GpsRefLocInfo p = pos_record();
    EXPECT_EQ(p.latitude, -31.5);
    EXPECT_EQ(p.longitude, 118.25);
    EXPECT_EQ(p.accuracy, 3.0f);

    G().calls.clear();
    const struct {
        int32_t ret;
        const char* trace;
    } refused[] = {
        {AT_GPS_InjRefTime_ioctl(nullptr, "1"), "AT_GPS_InjRefTime_ioctl: The param is NULL!\r\n"},
        {AT_GPS_InjRefTime_ioctl("2017-01-01 00:00:00.00", "1"),
         "AT_GPS_InjRefTime_ioctl: Change GPS UTC time failed!\r\n"},
        {AT_GPS_InjRefTime_ioctl("2017-01-01T00:00:00.00", " 50"),
         "AT_GPS_InjRefTime_ioctl: Change uncertainty to int failed!\r\n"},
        {AT_GPS_InjRefLocInfo_ioctl("1", nullptr, "1"),
         "AT_GPS_InjRefLocInfo_ioctl: The param is NULL!\r\n"},
        {AT_GPS_InjRefLocInfo_ioctl("N1", "1", "1"),
         "AT_GPS_InjRefLocInfo_ioctl: Change latitude failed!\r\n"},
        {AT_GPS_InjRefLocInfo_ioctl("1", "", "1"),
         "AT_GPS_InjRefLocInfo_ioctl: Change longitude failed!\r\n"},
        {AT_GPS_InjRefLocInfo_ioctl("1", "1", "x"),
         "AT_GPS_InjRefLocInfo_ioctl: Change accuracy failed!\r\n"},
    };
    for (const auto& r : refused) {
        SCOPED_TRACE(r.trace);
        EXPECT_NE(r.ret, 0);
        EXPECT_TRUE(P().traced(r.trace));
    }
    EXPECT_TRUE(G().calls.empty());

    G().fail("gpsclient_injRefTime", 277);
    G().fail("gpsclient_injRefPos", 277);
    EXPECT_NE(AT_GPS_InjRefTime_ioctl("2017-01-01T00:00:00.00", "1"), 0);
    EXPECT_TRUE(P().traced("AT_GPS_InjRefTime_ioctl: InjRef time failed!\r\n"));
    EXPECT_NE(AT_GPS_InjRefLocInfo_ioctl("1", "1", "1"), 0);
    EXPECT_TRUE(P().traced("AT_GPS_InjRefLocInfo_ioctl: InjRef position failed!\r\n"));
}

}  // namespace

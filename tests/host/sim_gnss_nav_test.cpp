// The simulated GNSS client's receiver test, C/N0 list, navigation query, position and information
// values.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "gpsclient.h"
#include "host_test_support.h"
#include "sim_gnss.h"

namespace {

using namespace std::chrono_literals;

extern "C" void ignore_status(void*) {}
extern "C" void ignore_nmea(int64_t, const char*, int32_t) {}
extern "C" void ignore_ni(void*) {}

class SimGnssNav : public ::testing::Test {
  protected:
    void SetUp() override {
        GpsClientCallbacks cb{ignore_status, ignore_nmea, ignore_ni};
        ASSERT_EQ(gpsclient_init(&cb), 1);
        ASSERT_EQ(sim_gnss_command("reset"), 0);
    }
    void TearDown() override { sim_gnss_command("reset"); }
};

TEST_F(SimGnssNav, MeasuresOnTheTestCarrierWhileTheEngineRuns) {
    int32_t cn = 0;
    EXPECT_EQ(gpsclient_set_type(2, 1575, 420, 0), 0) << "no GLONASS channel";
    EXPECT_EQ(gpsclient_set_type(3, 1575, 420, 0), 0);
    ASSERT_EQ(gpsclient_set_type(1, 1575, 420, 0), 1);
    EXPECT_EQ(gpsclient_qry_cn(&cn), 0) << "engine stopped";
    ASSERT_EQ(gpsclient_startFix(nullptr), 1);
    ASSERT_EQ(gpsclient_qry_cn(&cn), 1);
    EXPECT_EQ(cn, 45);
    ASSERT_EQ(gpsclient_set_type(2, 1598, 62, 500), 1);
    ASSERT_EQ(gpsclient_qry_cn(&cn), 1);
    EXPECT_EQ(cn, 42);
    ASSERT_EQ(sim_gnss_command("fail qry_cn 283"), 0);
    EXPECT_EQ(gpsclient_qry_cn(&cn), 0);
    ASSERT_EQ(sim_gnss_command("radio 0"), 0);
    EXPECT_EQ(gpsclient_qry_cn(&cn), 0) << "radio off";
}

TEST_F(SimGnssNav, ValuesOfTheLastEpoch) {
    const std::string path = test_run_dir() + "/nav_track.nmea";
    {
        std::ofstream f(path);
        f << "$GPGGA,120000.00,4807.0380,S,01131.0000,W,1,08,0.9,545.4,M,46.9,M,,*67\n"
          << "$GPGSA,A,3,04,09,,,,,,,,,,,1.6,0.9,1.3*39\n"
          << "$GPGSV,1,1,03,04,63,137,41,05,61,098,,09,59,290,44*70\n";
    }
    ASSERT_EQ(sim_gnss_command(("track " + path).c_str()), 0);
    ASSERT_EQ(sim_gnss_command("speed 100"), 0);
    GpsPositionInfo pos{};
    int32_t err = 0;
    ASSERT_EQ(gpsclient_GnssPosition(GPS_OP_GET, &pos, &err), 1);
    EXPECT_EQ(pos.latitude, 0.0) << "no epoch yet";
    ASSERT_EQ(gpsclient_startFix(nullptr), 1);
    for (int i = 0; i < 500 && sim_gnss_last_epoch().empty(); ++i) {
        std::this_thread::sleep_for(10ms);
    }

    GpsSvCnoList list{};
    ASSERT_EQ(gpsclient_svscno_list(&list), 1);
    ASSERT_EQ(list.count, 3);
    EXPECT_EQ(list.sv[0].sv, 4);
    EXPECT_EQ(list.sv[0].cno, 41.0f);
    EXPECT_EQ(list.sv[1].cno, 0.0f) << "not tracked";
    EXPECT_EQ(list.sv[2].sv, 9);

    GpsNavQuyInfo q{};
    ASSERT_EQ(gpsclient_NAVQUY(GPS_OP_GET, &q, &err), 1);
    EXPECT_EQ(q.lead, 1);
    ASSERT_EQ(q.count, 2) << "the satellites used in the fix";
    EXPECT_EQ(q.item[0].number, 4);
    EXPECT_EQ(q.item[1].value, 44.0f);

    ASSERT_EQ(gpsclient_GnssPosition(GPS_OP_GET, &pos, &err), 1);
    EXPECT_NEAR(pos.latitude, -(48 + 7.038 / 60), 1e-9);
    EXPECT_NEAR(pos.longitude, -(11 + 31.0 / 60), 1e-9);
    EXPECT_EQ(pos.altitude, 545.4);

    int32_t info = 0;
    ASSERT_EQ(gpsclient_WPINFO(GPS_OP_GET, &info, &err), 1);
    EXPECT_EQ(info, 1);
    ASSERT_EQ(gpsclient_stopFix(nullptr), 1);
    ASSERT_EQ(gpsclient_WPINFO(GPS_OP_GET, &info, &err), 1);
    EXPECT_EQ(info, 0);
    ASSERT_EQ(gpsclient_svscno_list(&list), 1);
    EXPECT_EQ(list.count, 0) << "nothing tracked while stopped";
    EXPECT_EQ(gpsclient_NAVQUY(GPS_OP_SET, &q, &err), 0);
    EXPECT_EQ(err, 281);
}

TEST_F(SimGnssNav, CustomizationValueIsKept) {
    int32_t v = 1, err = 0;
    ASSERT_EQ(gpsclient_ZQCUST(GPS_OP_SET, &v, &err), 1);
    v = 2;
    EXPECT_EQ(gpsclient_ZQCUST(GPS_OP_SET, &v, &err), 0);
    EXPECT_EQ(err, 281);
    ASSERT_EQ(gpsclient_ZQCUST(GPS_OP_GET, &v, &err), 1);
    EXPECT_EQ(v, 1);
    ASSERT_EQ(sim_gnss_command("fail ZQCUST 277"), 0);
    EXPECT_EQ(gpsclient_ZQCUST(GPS_OP_GET, &v, &err), 0);
    EXPECT_EQ(err, 277);
}

}  // namespace

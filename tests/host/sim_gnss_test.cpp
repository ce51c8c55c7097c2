// The simulated GNSS client: the radio, requested failures, replay on its own thread. Settings and
// answers are checked through the daemon by the gnss transcripts.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "gpsclient.h"
#include "host_test_support.h"
#include "sim_gnss.h"

namespace {

using namespace std::chrono_literals;

// What the client handed to the callbacks, from its own thread.
struct Seen {
    std::mutex mu;
    std::condition_variable cv;
    std::vector<std::string> sentences;
    std::vector<std::array<int32_t, 4>> statuses;

    template <typename Pred>
    bool wait(Pred pred) {
        std::unique_lock<std::mutex> lock(mu);
        return cv.wait_for(lock, 10s, pred);
    }
};

Seen& seen() {
    static Seen* s = new Seen;
    return *s;
}

extern "C" void on_status(void* status) {
    std::array<int32_t, 4> w{};
    std::memcpy(w.data(), status, sizeof w);
    std::lock_guard<std::mutex> lock(seen().mu);
    seen().statuses.push_back(w);
    seen().cv.notify_all();
}

extern "C" void on_nmea(int64_t, const char* text, int32_t length) {
    // The client calls back into itself from here, as the adapter does.
    int32_t cfg = 0;
    int32_t err = 0;
    gpsclient_portCfg(GPS_OP_GET, &cfg, &err);
    std::lock_guard<std::mutex> lock(seen().mu);
    seen().sentences.emplace_back(text, static_cast<size_t>(length));
    seen().cv.notify_all();
}

extern "C" void on_ni(void*) {}

bool checksum_ok(const std::string& s) {
    const size_t star = s.find('*');
    if (s.empty() || s[0] != '$' || star == std::string::npos || star + 5 != s.size() ||
        s.compare(s.size() - 2, 2, "\r\n") != 0) {
        return false;
    }
    unsigned sum = 0;
    for (size_t i = 1; i < star; ++i) {
        sum ^= static_cast<unsigned char>(s[i]);
    }
    char want[3];
    std::snprintf(want, sizeof want, "%02X", sum);
    return s.compare(star + 1, 2, want) == 0;
}

std::string field(const std::string& s, int n) {
    size_t start = 0;
    for (int i = 0; i < n; ++i) {
        start = s.find(',', start);
        if (start == std::string::npos) {
            return "";
        }
        ++start;
    }
    const size_t end = s.find_first_of(",*", start);
    return s.substr(start, end - start);
}

class SimGnss : public ::testing::Test {
  protected:
    void SetUp() override {
        GpsClientCallbacks cb{on_status, on_nmea, on_ni};
        ASSERT_EQ(gpsclient_init(&cb), 1);
        ASSERT_EQ(sim_gnss_command("reset"), 0);
        std::lock_guard<std::mutex> lock(seen().mu);
        seen().sentences.clear();
        seen().statuses.clear();
    }
    void TearDown() override { sim_gnss_command("reset"); }

    static size_t sentence_count() {
        std::lock_guard<std::mutex> lock(seen().mu);
        return seen().sentences.size();
    }
    static std::vector<std::string> sentences() {
        std::lock_guard<std::mutex> lock(seen().mu);
        return seen().sentences;
    }
};

TEST_F(SimGnss, RadioOffRefusesTheEngineAndPausesTheReplay) {
    int32_t radio = GPS_RADIO_OFF, err = 0;
    ASSERT_EQ(gpsclient_WPCAP(GPS_OP_SET, &radio, &err), 1);
    EXPECT_EQ(gpsclient_startFix(&err), 0);
    EXPECT_EQ(err, 276);

    radio = GPS_RADIO_ON;
    gpsclient_WPCAP(GPS_OP_SET, &radio, &err);
    sim_gnss_command("speed 100");
    ASSERT_EQ(gpsclient_startFix(nullptr), 1);
    ASSERT_TRUE(seen().wait([] { return seen().sentences.size() >= 7; }));
    // A running engine keeps its session type.
    int32_t type = 1;
    EXPECT_EQ(gpsclient_sessionType(GPS_OP_SET, &type, &err), 0);
    EXPECT_EQ(err, 283);

    ASSERT_EQ(sim_gnss_command("radio 0"), 0);
    std::this_thread::sleep_for(50ms);
    const size_t paused = sentence_count();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(sentence_count(), paused);
    sim_gnss_command("radio 3");
    ASSERT_TRUE(seen().wait([&] { return seen().sentences.size() > paused; }));
    EXPECT_EQ(gpsclient_stopFix(nullptr), 1);
}

TEST_F(SimGnss, FailsWhenAskedTo) {
    int32_t err = 0;
    int32_t v = 0;
    ASSERT_EQ(sim_gnss_command("fail gpsclient_operateMode 277 2"), 0);
    ASSERT_EQ(sim_gnss_command("fail locks 280 always"), 0);
    for (int i = 0; i < 2; ++i) {
        err = 0;
        EXPECT_EQ(gpsclient_operateMode(GPS_OP_GET, &v, &err), 0);
        EXPECT_EQ(err, 277);
    }
    EXPECT_EQ(gpsclient_operateMode(GPS_OP_GET, &v, &err), 1) << "failed twice only";
    EXPECT_EQ(gpsclient_locks(GPS_OP_GET, &v, &err), 0);
    ASSERT_EQ(sim_gnss_command("clear"), 0);
    EXPECT_EQ(gpsclient_locks(GPS_OP_GET, &v, &err), 1);

    for (const char* bad :
         {"fly", "fail startFix", "radio 1", "speed 0", "track /nonexistent/track.nmea",
          "fail startFix 283 0", "set startFix 1", "set locks"}) {
        EXPECT_EQ(sim_gnss_command(bad), -1) << bad;
    }
}

TEST_F(SimGnss, BuiltInTrackIsWholeEpochsOfValidSentences) {
    sim_gnss_command("speed 100");
    ASSERT_EQ(gpsclient_startFix(nullptr), 1);
    ASSERT_TRUE(seen().wait([] { return seen().sentences.size() >= 7 * 6; }));
    ASSERT_EQ(gpsclient_stopFix(nullptr), 1);
    std::this_thread::sleep_for(50ms);
    const std::vector<std::string> got = sentences();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(sentence_count(), got.size()) << "sentences after the engine stopped";

    const char* order[] = {"$GPGGA", "$GPGSA", "$GPGSV", "$GPGSV", "$GPGSV", "$GPRMC", "$GPZQLOC"};
    for (size_t i = 0; i < got.size(); ++i) {
        const std::string& s = got[i];
        EXPECT_TRUE(checksum_ok(s)) << s;
        EXPECT_EQ(s.compare(0, strlen(order[i % 7]), order[i % 7]), 0) << i << " " << s;
        if (i % 7 == 0) {
            // A cold start: the first epochs have no fix yet.
            EXPECT_EQ(field(s, 6), i / 7 < 3 ? "0" : "1") << s;
        }
    }
    const std::string& fix = got[7 * 4];
    EXPECT_EQ(field(fix, 3), "N");
    EXPECT_EQ(field(fix, 5), "E");
    EXPECT_EQ(field(got[7 * 4 + 5], 2), "A");     // RMC valid
    EXPECT_EQ(field(got[7 * 4 + 6], 2), "15.0");  // extension: speed
}

TEST_F(SimGnss, SessionWithAFixCountEndsWithAStatus) {
    sim_gnss_command("speed 100");
    int32_t times = 2, interval = 0, err = 0;
    ASSERT_EQ(gpsclient_freqAndInterval(GPS_OP_SET, &times, &interval, &err, 1), 1);
    ASSERT_EQ(gpsclient_startFix(&err), 1);
    ASSERT_TRUE(seen().wait([] { return !seen().statuses.empty(); }));
    EXPECT_EQ(seen().statuses[0], (std::array<int32_t, 4>{0, 0, 2, 1}));
    EXPECT_EQ(sentence_count(), 5u * 7);  // three epochs without a fix, two with
}

TEST_F(SimGnss, ReplaysAFileAtItsOwnPace) {
    const std::string path = test_run_dir() + "/track.nmea";
    {
        std::ofstream f(path);
        f << "$GPGGA,120000.00,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*4B\r\n"
          << "not a sentence\n"
          << "$GPRMC,120000.00,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A\n"
          << "$GPGGA,120000.50,4807.039,N,01131.001,E,1,08,0.9,545.5,M,46.9,M,,*4A\n";
    }
    ASSERT_EQ(sim_gnss_command(("track " + path).c_str()), 0);
    sim_gnss_command("speed 5");  // 500 ms apart in the file: 100 ms here
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(gpsclient_startFix(nullptr), 1);
    ASSERT_TRUE(seen().wait([] { return seen().sentences.size() >= 4; }));
    const auto took = std::chrono::steady_clock::now() - start;
    gpsclient_stopFix(nullptr);
    const std::vector<std::string> got = sentences();
    EXPECT_EQ(got[0].substr(0, 17), "$GPGGA,120000.00,");
    EXPECT_EQ(got[1],
              "$GPRMC,120000.00,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A\r\n");
    EXPECT_EQ(got[2].substr(0, 17), "$GPGGA,120000.50,");
    EXPECT_EQ(got[3].substr(0, 17), "$GPGGA,120000.00,");  // the track loops
    EXPECT_GE(took, 90ms);
}

}  // namespace

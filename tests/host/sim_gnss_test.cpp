// The simulated GNSS client: the radio pausing the replay thread, requested failures, a session of
// a fixed count. Settings, answers and replayed tracks are checked by the gnss transcripts.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "gpsclient.h"
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

TEST_F(SimGnss, SessionWithAFixCountEndsWithAStatus) {
    sim_gnss_command("speed 100");
    int32_t times = 2, interval = 0, err = 0;
    ASSERT_EQ(gpsclient_freqAndInterval(GPS_OP_SET, &times, &interval, &err, 1), 1);
    ASSERT_EQ(gpsclient_startFix(&err), 1);
    ASSERT_TRUE(seen().wait([] { return !seen().statuses.empty(); }));
    EXPECT_EQ(seen().statuses[0], (std::array<int32_t, 4>{0, 0, 2, 1}));
    EXPECT_EQ(sentence_count(), 5u * 7);  // three epochs without a fix, two with
}

}  // namespace

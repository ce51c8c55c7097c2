// The simulated recorder engine: what the speech, recording and file transcripts leave out (a
// stopped recording, playing a missing file, malformed packets, parts of a file, bad names).
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "host_test_support.h"
#include "qsp_notify.h"
#include "recorder.h"

namespace {

using namespace std::chrono_literals;

struct Event {
    uint32_t module;
    uint32_t event;
    std::vector<uint8_t> payload;
};

// Every event the engines raise to modules 69 and 80, with its payload.
struct Events {
    std::mutex mu;
    std::condition_variable cv;
    std::vector<Event> got;

    void add(uint32_t module, uint32_t event, uintptr_t ptr, uintptr_t len) {
        std::lock_guard<std::mutex> lock(mu);
        const auto* p = reinterpret_cast<const uint8_t*>(ptr);
        got.push_back({module, event, std::vector<uint8_t>(p, p + len)});
        cv.notify_all();
    }
    // The first event of this id not yet taken, waiting up to `wait` for it.
    bool take(uint32_t event, Event* out, std::chrono::milliseconds wait = 5000ms) {
        std::unique_lock<std::mutex> lock(mu);
        auto it = got.end();
        cv.wait_for(lock, wait, [&] {
            it = std::find_if(got.begin(), got.end(),
                              [&](const Event& e) { return e.event == event; });
            return it != got.end();
        });
        if (it == got.end()) {
            return false;
        }
        *out = *it;
        got.erase(it);
        return true;
    }
};

Events& events() {
    static Events e;
    return e;
}

extern "C" int32_t recorder_events(uint32_t event, uintptr_t a1, uintptr_t a2) {
    events().add(NOTIFY_MODULE_RECORDER, event, a1, a2);
    return 0;
}

template <typename T>
T payload_as(const Event& e) {
    T v{};
    std::memcpy(&v, e.payload.data(), std::min(sizeof v, e.payload.size()));
    return v;
}

class SimAudio : public BusLoop {
  protected:
    void SetUp() override {
        BusLoop::SetUp();
        ASSERT_EQ(register_notify_handler(NOTIFY_MODULE_RECORDER, recorder_events, nullptr), 0);
    }
    // Calls an engine's set operation with text parameters: 0 when it answers OK.
    static int32_t ok(int32_t (*engine)(AtRequest*, AtResponse*), std::vector<std::string> paras) {
        auto req = std::make_unique<AtRequest>();
        auto rsp = std::make_unique<AtResponse>();
        std::memset(req.get(), 0, sizeof *req);
        std::memset(rsp.get(), 0, sizeof *rsp);
        req->m_type = NL_TYPE_SET;
        for (const std::string& p : paras) {
            AtCmdParam& e = req->m_para_list[req->m_para_count++];
            std::memcpy(e.aucPara, p.data(), std::min(p.size(), sizeof e.aucPara - 1));
            e.usParaLen = static_cast<uint16_t>(p.size());
        }
        const int32_t r = engine(req.get(), rsp.get());
        return r == 0 && std::strcmp(rsp->m_buffer, "\r\nOK\r\n") == 0 ? 0 : -1;
    }
};

TEST_F(SimAudio, RecordingPlaybackAndTheirEndReports) {
    ASSERT_EQ(ok(recorder_at_audrec_cmd, {"1", "rec1"}), 0);
    EXPECT_EQ(ok(recorder_at_audrec_cmd, {"2", "rec1"}), -1) << "busy";
    std::this_thread::sleep_for(300ms);
    ASSERT_EQ(ok(recorder_at_audrec_cmd, {"0"}), 0);
    Event e;
    ASSERT_TRUE(events().take(RECORDER_EVT_AUDEND, &e));
    const auto rec = payload_as<RecorderAudendInfo>(e);
    EXPECT_EQ(rec.kind, 0u);
    EXPECT_EQ(rec.value1, 1u);
    EXPECT_EQ(rec.value2, 0u);
    EXPECT_GE(rec.value3, 3200);  // at least 200 ms of 8 kHz 16-bit audio

    // Playing the recording ends by itself, with no size.
    ASSERT_EQ(ok(recorder_at_audrec_cmd, {"2", "rec1"}), 0);
    ASSERT_TRUE(events().take(RECORDER_EVT_AUDEND, &e));
    const auto play = payload_as<RecorderAudendInfo>(e);
    EXPECT_EQ(play.value1, 2u);
    EXPECT_EQ(play.value2, 1u);
    EXPECT_EQ(play.value3, -1);

    // Playing a file that does not exist fails and still reports its end.
    EXPECT_EQ(ok(recorder_at_audrec_cmd, {"2", "rec9"}), -1);
    ASSERT_TRUE(events().take(RECORDER_EVT_AUDEND, &e));
    EXPECT_EQ(payload_as<RecorderAudendInfo>(e).value2, 2u);
}

TEST_F(SimAudio, MalformedPacketsAreRefusedAndPartsReadBack) {
    ASSERT_EQ(ok(recorder_at_fileio_cmd, {"2", "rec3", "0", "3", "1", "2", "\"00FF10\""}), 0);
    ASSERT_EQ(ok(recorder_at_fileio_cmd, {"2", "rec3", "3", "1", "2", "2", "\"ab\""}), 0);
    Event e;
    ASSERT_TRUE(events().take(RECORDER_EVT_FILEDATA, &e));
    ASSERT_TRUE(events().take(RECORDER_EVT_FILEDATA, &e));
    // Length that disagrees with the data, and bad hex, are refused.
    EXPECT_EQ(ok(recorder_at_fileio_cmd, {"2", "rec3", "0", "2", "1", "1", "\"00FF10\""}), -1);
    EXPECT_EQ(ok(recorder_at_fileio_cmd, {"2", "rec3", "0", "1", "1", "1", "\"0G\""}), -1);

    // A part of the file, by offset and length.
    ASSERT_EQ(ok(recorder_at_fileio_cmd, {"1", "rec3", "1", "2", "0", "0"}), 0);
    ASSERT_TRUE(events().take(RECORDER_EVT_FILEDATA, &e));
    ASSERT_TRUE(events().take(RECORDER_EVT_FILEDATA, &e));
    const auto part = payload_as<RecorderFileData>(e);
    EXPECT_EQ(std::string(part.data, static_cast<size_t>(part.data_len)), "FF10");

    ASSERT_EQ(ok(recorder_at_fileio_cmd, {"3", "rec3"}), 0);
    EXPECT_EQ(ok(recorder_at_fileio_cmd, {"1", "rec3"}), -1);
    EXPECT_EQ(ok(recorder_at_fileio_cmd, {"3", "rec3"}), -1);
}

TEST_F(SimAudio, QuotedTextAndFileNamesFromTheTerminal) {
    char quoted[] = "\"rec12\"";
    EXPECT_EQ(recorder_at_strip_quotes_out(quoted, quoted, 7), 1);
    EXPECT_STREQ(quoted, "rec12");
    char bad[] = "\"a\"b\"";
    EXPECT_EQ(recorder_at_strip_quotes_out(bad, bad, 5), 0);
    for (const char* name : {"RAM", "rec1", "rec999"}) {
        EXPECT_EQ(recorder_at_check_file_name(name), 1) << name;
    }
    for (const char* name : {"ram", "rec", "rec0", "rec1000", "abc1", "rec1a", ""}) {
        EXPECT_EQ(recorder_at_check_file_name(name), 0) << name;
    }
}

}  // namespace

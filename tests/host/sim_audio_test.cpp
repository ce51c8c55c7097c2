// The simulated text-to-speech engine, recorder engine and firmware loader: answers, files and the events they raise.
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
#include "tts.h"
#include "xmodem.h"

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
            it = std::find_if(got.begin(), got.end(), [&](const Event& e) { return e.event == event; });
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

extern "C" int32_t tts_events(uint32_t event, uintptr_t a1, uintptr_t a2) {
    events().add(NOTIFY_MODULE_TTS, event, a1, a2);
    return 0;
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
        ASSERT_EQ(register_notify_handler(NOTIFY_MODULE_TTS, tts_events, tts_events), 0);
        ASSERT_EQ(register_notify_handler(NOTIFY_MODULE_RECORDER, recorder_events, nullptr), 0);
    }
    // Calls an engine entry point with a set (or other) request of text parameters.
    static std::string call(int32_t (*engine)(AtRequest*, AtResponse*), std::vector<std::string> paras,
                            int32_t* result, uint32_t type = NL_TYPE_SET) {
        auto req = std::make_unique<AtRequest>();
        auto rsp = std::make_unique<AtResponse>();
        std::memset(req.get(), 0, sizeof *req);
        std::memset(rsp.get(), 0, sizeof *rsp);
        req->m_type = type;
        for (const std::string& p : paras) {
            AtCmdParam& e = req->m_para_list[req->m_para_count++];
            std::memcpy(e.aucPara, p.data(), std::min(p.size(), sizeof e.aucPara - 1));
            e.usParaLen = static_cast<uint16_t>(p.size());
        }
        *result = engine(req.get(), rsp.get());
        return rsp->m_buffer;
    }
    static int32_t ok(int32_t (*engine)(AtRequest*, AtResponse*), std::vector<std::string> paras) {
        int32_t r = 0;
        const std::string text = call(engine, std::move(paras), &r);
        return r == 0 && text == "\r\nOK\r\n" ? 0 : -1;
    }
};

TEST_F(SimAudio, SpeechEndsWithItsEventAndCanBeStopped) {
    EXPECT_EQ(ok(tts_at_exec_cmd, {"1", "\"hello\""}), -1) << "refused while disabled";
    ASSERT_EQ(ok(tts_at_cfg_cmd, {"0", "1"}), 0);
    ASSERT_EQ(ok(tts_at_cfg_cmd, {"2", "100"}), 0);
    EXPECT_EQ(ok(tts_at_cfg_cmd, {"1", "101"}), -1);
    int32_t r = 0;
    EXPECT_EQ(call(tts_at_cfg_cmd, {}, &r, NL_TYPE_QUERY),
              "\r\n^TTSCFG: 0,1\r\n^TTSCFG: 1,50\r\n^TTSCFG: 2,100\r\n\r\nOK\r\n");

    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(ok(tts_at_exec_cmd, {"1", "\"hello\""}), 0);
    EXPECT_EQ(ok(tts_at_exec_cmd, {"1", "\"again\""}), -1) << "one speech at a time";
    Event e;
    ASSERT_TRUE(events().take(TTS_EVT_AUDEND, &e));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 250ms);
    EXPECT_EQ(e.payload.size(), sizeof(TtsAudendInfo));
    const auto done = payload_as<TtsAudendInfo>(e);
    EXPECT_EQ(done.word2, 0u);

    ASSERT_EQ(ok(tts_at_cfg_cmd, {"2", "0"}), 0);
    ASSERT_EQ(ok(tts_at_exec_cmd, {"1", "\"a long sentence that takes several seconds to say\""}), 0);
    ASSERT_EQ(ok(tts_at_exec_cmd, {"0"}), 0);
    ASSERT_TRUE(events().take(TTS_EVT_AUDEND, &e, 2000ms));
    const auto stopped = payload_as<TtsAudendInfo>(e);
    EXPECT_EQ(stopped.word1, done.word1 + 1);
    EXPECT_EQ(stopped.word2, 1u);
}

TEST_F(SimAudio, RecordingPlaybackAndTheirEndReports) {
    ASSERT_EQ(ok(recorder_at_audrec_cmd, {"1", "rec1"}), 0);
    EXPECT_EQ(ok(recorder_at_audrec_cmd, {"2", "rec1"}), -1) << "busy";
    int32_t r = 0;
    EXPECT_EQ(call(recorder_at_audrec_cmd, {}, &r, NL_TYPE_QUERY), "\r\n^AUDREC: 1,\"rec1\"\r\n\r\nOK\r\n");
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

    // A RAM recording ends with kind 1 and the RAM file's size.
    ASSERT_EQ(ok(recorder_at_audrec_cmd, {"1", "RAM"}), 0);
    ASSERT_EQ(ok(recorder_at_audrec_cmd, {"0"}), 0);
    ASSERT_TRUE(events().take(RECORDER_EVT_AUDEND, &e));
    EXPECT_EQ(payload_as<RecorderAudendInfo>(e).kind, RECORDER_AUDEND_RAM_RECORD);

    // Playing a file that does not exist fails and still reports its end.
    EXPECT_EQ(ok(recorder_at_audrec_cmd, {"2", "rec9"}), -1);
    ASSERT_TRUE(events().take(RECORDER_EVT_AUDEND, &e));
    EXPECT_EQ(payload_as<RecorderAudendInfo>(e).value2, 2u);
}

TEST_F(SimAudio, FileWrittenInPacketsReadsBack) {
    ASSERT_EQ(ok(recorder_at_fileio_cmd, {"2", "rec3", "0", "3", "1", "2", "\"00FF10\""}), 0);
    ASSERT_EQ(ok(recorder_at_fileio_cmd, {"2", "rec3", "3", "1", "2", "2", "\"ab\""}), 0);
    Event e;
    ASSERT_TRUE(events().take(RECORDER_EVT_FILEDATA, &e));
    auto ack = payload_as<RecorderFileData>(e);
    EXPECT_NE(ack.kind, RECORDER_FILEDATA_READ);
    EXPECT_EQ(ack.packet_no, 1);
    EXPECT_EQ(ack.data_len, 3);
    ASSERT_TRUE(events().take(RECORDER_EVT_FILEDATA, &e));
    EXPECT_EQ(payload_as<RecorderFileData>(e).packet_no, 2);
    // Length that disagrees with the data, and bad hex, are refused.
    EXPECT_EQ(ok(recorder_at_fileio_cmd, {"2", "rec3", "0", "2", "1", "1", "\"00FF10\""}), -1);
    EXPECT_EQ(ok(recorder_at_fileio_cmd, {"2", "rec3", "0", "1", "1", "1", "\"0G\""}), -1);

    ASSERT_EQ(ok(recorder_at_fileio_cmd, {"1", "rec3"}), 0);
    ASSERT_TRUE(events().take(RECORDER_EVT_FILEDATA, &e));
    const auto tag = payload_as<RecorderFileData>(e);
    EXPECT_EQ(tag.data_len, 0);
    EXPECT_STREQ(tag.data, "rec");
    EXPECT_STREQ(tag.file_name, "rec3");
    EXPECT_EQ(tag.file_size, 4u);
    ASSERT_TRUE(events().take(RECORDER_EVT_FILEDATA, &e));
    const auto data = payload_as<RecorderFileData>(e);
    EXPECT_EQ(data.kind, RECORDER_FILEDATA_READ);
    EXPECT_EQ(std::string(data.data, static_cast<size_t>(data.data_len)), "00FF10AB");

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

TEST_F(SimAudio, EngineHelpers) {
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
    EXPECT_EQ(rec_at_util_is_number("0123"), 1);
    EXPECT_EQ(rec_at_util_is_number("-1"), 0);
    EXPECT_EQ(rec_at_util_is_number(""), 0);
}

TEST_F(SimAudio, PartitionStateFollowsTheRunDirectory) {
    EXPECT_EQ(xu_check_bbou_state(), 1);
    const std::string path = test_run_dir() + "/bbou_state";
    FILE* f = fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr);
    fputs("0\n", f);
    fclose(f);
    EXPECT_EQ(xu_check_bbou_state(), 0);
    std::remove(path.c_str());
}

}  // namespace

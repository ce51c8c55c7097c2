// ^AUDREC and ^RECCFG: the audio interlock with text-to-speech, file checks and the write lock.
#include <gtest/gtest.h>

#include <climits>

#include "audio_fixture.h"
#include "recorder.h"
#include "recorderatapi/recorder_at_handlers.h"
#include "tts.h"
#include "ttsatapi/tts_at_handlers.h"

namespace {

using audio_test::AudioTest;
using fake::RequestBytes;

class Recorder : public AudioTest {
protected:
    void TearDown() override {
        g_IsRamRecordInProgress = 0;
        AudioTest::TearDown();
    }
    static RequestBytes audrec(std::vector<std::string> paras, uint32_t type = 0) {
        RequestBytes r("^AUDREC", type);
        for (const std::string& p : paras) {
            r.text(p);
        }
        return r;
    }
    void end_of_recording(RecorderAudendInfo info) {
        callback(NOTIFY_MODULE_RECORDER)(RECORDER_EVT_AUDEND, reinterpret_cast<uintptr_t>(&info),
                                         sizeof info);
    }
};

struct AudrecCase {
    const char* what;
    uint32_t type;
    std::vector<std::string> paras;
    int32_t perm;
    int32_t write_index;
    int32_t retenum;  // -1: reaches the engine
    int32_t perm_after;
    int32_t ram_flag_after;
};

TEST_F(Recorder, AudrecChecks) {
    const AudrecCase cases[] = {
        {"set without parameters", 0, {}, 0, -1, 196, 0, 0},
        {"record while speaking", 0, {"1", "\"rec1\""}, 2, -1, 195, 2, 0},
        {"other operation while speaking", 0, {"7"}, 2, -1, 195, 2, 0},
        {"stop while speaking", 0, {"0"}, 2, -1, -1, 2, 0},
        {"empty file name", 0, {"1", ""}, 0, -1, 196, 0, 0},
        {"file name without quotes", 0, {"1", "rec1"}, 0, -1, 196, 0, 0},
        {"file name the engine refuses", 0, {"1", "\"bad\""}, 0, -1, 196, 0, 0},
        {"play the file being written", 0, {"2", "\"rec4\""}, 0, 4, -1, 1, 0},
        {"record another file", 0, {"1", "\"rec5\""}, 0, 4, -1, 1, 0},
        {"index -1 with no transfer open", 0, {"1", "\"rec-1\""}, 0, -1, -1, 1, 0},
        {"record RAM with a third parameter stays quoted", 0, {"1", "\"RAM\"", "5"}, 0, -1, -1, 1, 0},
        {"record without a file", 0, {"1"}, 0, -1, -1, 1, 0},
        {"query takes nothing", 1, {}, 2, -1, -1, 2, 0},
        {"test with a record operation takes the path", 2, {"1", "\"RAM\""}, 0, -1, -1, 1, 1},
    };
    for (const AudrecCase& c : cases) {
        SCOPED_TRACE(c.what);
        fake::audio().reset();
        fake::audio().rejected_names = {"bad"};
        rec_tts_at_cmd_perm_set(c.perm);
        recorder_set_file_state({.fileio_write_index = c.write_index});
        g_IsRamRecordInProgress = 0;
        RequestBytes r = audrec(c.paras, c.type);
        const audio_test::Outcome o = call(at_recorder_audrec_exec, r);
        if (c.retenum < 0) {
            EXPECT_EQ(o.ret, 0);
            EXPECT_EQ(fake::audio().calls, std::vector<std::string>{"recorder_at_audrec_cmd"});
            EXPECT_EQ(o.text(), "\r\nOK\r\n");
        } else {
            EXPECT_EQ(o.ret, -1);
            EXPECT_TRUE(fake::audio().calls.empty());
            EXPECT_EQ(o->m_retenum, c.retenum);
            EXPECT_EQ(o->m_length, 0u);
        }
        EXPECT_EQ(rec_tts_at_cmd_perm_get(), c.perm_after);
        EXPECT_EQ(g_IsRamRecordInProgress, c.ram_flag_after);
        EXPECT_EQ(recorder_file_state().fileio_write_index, c.write_index);
    }
}

TEST_F(Recorder, FailedStartHoldsThePathUntilTheEndReport) {
    for (const int32_t engine_retenum : {0, 42}) {
        fake::audio().audrec = {-1, engine_retenum, "\r\nERROR\r\n"};
        RequestBytes r = audrec({"1", "\"RAM\""});
        const audio_test::Outcome o = call(at_recorder_audrec_exec, r);
        EXPECT_EQ(o.ret, 0);
        EXPECT_EQ(o->m_retenum, engine_retenum == 0 ? 196 : engine_retenum);
        EXPECT_EQ(o->m_length, 0u);
        EXPECT_EQ(rec_tts_at_cmd_perm_get(), AUDIO_PERM_RECORDER);
        EXPECT_EQ(g_IsRamRecordInProgress, 1);
        end_of_recording({1, 0, 0, 4000});
        EXPECT_EQ(rec_tts_at_cmd_perm_get(), AUDIO_PERM_FREE);
        EXPECT_EQ(g_IsRamRecordInProgress, 0);
    }
}

}  // namespace

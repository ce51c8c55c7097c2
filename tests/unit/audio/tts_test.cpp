// ^TTS and ^TTSCFG: refusals by speech state, enable setting and audio path; the end-of-speech report.
#include <gtest/gtest.h>

#include "audio_fixture.h"
#include "tts.h"
#include "ttsatapi/tts_at_handlers.h"

namespace {

using audio_test::AudioTest;
using fake::RequestBytes;

class Tts : public AudioTest {
protected:
    // Sends "^AUDEND" for the end of speech as the engine raises it.
    int32_t raise_audend(uint32_t w1, uint32_t w2) {
        const TtsAudendInfo info{w1, w2};
        return callback(NOTIFY_MODULE_TTS)(TTS_EVT_AUDEND, reinterpret_cast<uintptr_t>(&info),
                                           sizeof info);
    }
};

// Unchecked like any test, a test request whose parameter 1 is a non-zero
// number takes the audio path once the engine accepts it, as a set does.
TEST_F(Tts, TestRequestWithAStartModeTakesThePath) {
    tts_enable = 0;
    tts_audend = 1;
    rec_tts_at_cmd_perm_set(AUDIO_PERM_FREE);
    RequestBytes r("^TTS", 2);
    r.text("1");
    r.text("\"hi\"");
    EXPECT_EQ(call(at_tts_send, r).ret, 0);
    EXPECT_EQ(tts_audend, 0u);
    EXPECT_EQ(rec_tts_at_cmd_perm_get(), AUDIO_PERM_TTS);
}

TEST_F(Tts, OtherSettingTypesLeaveEnableAlone) {
    RequestBytes r("^TTSCFG", 0);
    r.text("1").text("5");
    EXPECT_EQ(call(at_tts_cfg, r).ret, 0);
    EXPECT_EQ(tts_enable, 0u);
    RequestBytes big("^TTSCFG", 0);
    big.text("00").text("99999999999999999999");
    call(at_tts_cfg, big);
    EXPECT_NE(tts_enable, 0u) << "a huge value must not wrap to 0";
}

TEST_F(Tts, EngineFailures) {
    struct F {
        const char* what;
        int32_t engine_retenum;
        int32_t want;
    } cases[] = {{"unnumbered", 0, 194}, {"numbered by the engine", 77, 77}};
    for (const F& f : cases) {
        SCOPED_TRACE(f.what);
        tts_enable = 1;
        tts_audend = 0;
        rec_tts_at_cmd_perm_set(AUDIO_PERM_TTS);
        fake::audio().tts_exec = {-1, f.engine_retenum, "\r\nsomething\r\n"};
        RequestBytes stop("^TTS", 0);
        stop.text("0");
        const audio_test::Outcome o = call(at_tts_send, stop);
        EXPECT_EQ(o.ret, 0);
        EXPECT_EQ(o->m_retenum, f.want);
        EXPECT_EQ(o->m_length, 0u);
        EXPECT_EQ(o->m_buffer[0], '\0');
        EXPECT_EQ(tts_audend, 1u);
        EXPECT_EQ(rec_tts_at_cmd_perm_get(), AUDIO_PERM_TTS) << "the path stays held";

        fake::audio().tts_cfg = {-1, f.engine_retenum, ""};
        RequestBytes enable("^TTSCFG", 0);
        enable.text("0").text("0");
        const audio_test::Outcome c = call(at_tts_cfg, enable);
        EXPECT_EQ(c->m_retenum, f.want);
        EXPECT_EQ(tts_enable, 1u) << "a failed setting is not kept";
    }
    // A start that the engine refuses takes no audio path.
    rec_tts_at_cmd_perm_set(AUDIO_PERM_FREE);
    fake::audio().tts_exec = {-1, 0, ""};
    RequestBytes speak("^TTS", 0);
    speak.text("1");
    call(at_tts_send, speak);
    EXPECT_EQ(tts_audend, 1u);
    EXPECT_EQ(rec_tts_at_cmd_perm_get(), AUDIO_PERM_FREE);
}

TEST_F(Tts, AudendReportBoundaries) {
    EXPECT_EQ(raise_audend(4294967295u, 12), 0);
    EXPECT_EQ(P().last_sent().text(), "^AUDEND: 4294967295,12\r\n");

    // A payload shorter than the two words reads zeros for what is missing.
    const uint32_t one = 9;
    EXPECT_EQ(at_tts_audend_report(&one, sizeof one), 0);
    EXPECT_EQ(P().last_sent().text(), "^AUDEND: 9,0\r\n");

    const size_t sent = P().sent.size();
    EXPECT_EQ(at_tts_audend_report(nullptr, 8), -1);
    EXPECT_EQ(tts_notify_handler(68001, reinterpret_cast<uintptr_t>(&one), 4), -1);
    EXPECT_EQ(P().sent.size(), sent);

    // No record: no report, the path stays held, the speech is over.
    tts_audend = 0;
    rec_tts_at_cmd_perm_set(AUDIO_PERM_TTS);
    P().fail_alloc_at = P().allocs + 1;
    EXPECT_EQ(raise_audend(1, 1), -1);
    EXPECT_EQ(P().sent.size(), sent);
    EXPECT_EQ(tts_audend, 1u);
    EXPECT_EQ(rec_tts_at_cmd_perm_get(), AUDIO_PERM_TTS);
}

}  // namespace

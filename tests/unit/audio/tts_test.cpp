// ^TTS and ^TTSCFG: a test request that starts speech, and a huge setting.
#include <gtest/gtest.h>

#include "audio_fixture.h"
#include "tts.h"
#include "ttsatapi/tts_at_handlers.h"

namespace {

using audio_test::AudioTest;
using fake::RequestBytes;

class Tts : public AudioTest {};

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

}  // namespace

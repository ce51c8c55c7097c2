// ^TTS and ^TTSCFG: the speech-state and audio-path checks in front of the text-to-speech engine.
#include "audio_at_params.h"
#include "audio_perm.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"
#include "tts.h"
#include "tts_at_handlers.h"

using audio_at::is_decimal;
using audio_at::para_text;
using audio_at::refuse;

// Both written by commands and by the end-of-speech event, all on the
// message-loop thread.
uint32_t tts_audend = 1;
uint32_t tts_enable = 0;

namespace {

// A decimal text with any digit other than 0 has a non-zero value, however
// many digits it has.
bool non_zero(std::string_view digits) { return digits.find_first_not_of('0') != digits.npos; }

}  // namespace

int32_t at_tts_send(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    const bool is_set = pIn->m_type == NL_TYPE_SET;
    if (pIn->m_type == NL_TYPE_QUERY || (is_set && pIn->m_para_count == 0)) {
        return refuse(pOut, TTS_RET_REFUSED);
    }
    // A parameter 1 with a non-zero value asks for speech; whatever the
    // request type, a successful engine call then takes the audio path. Only
    // a set is checked first; a test goes straight to the engine.
    const std::string_view mode = para_text(*pIn, 0);
    const bool start_speech = is_decimal(mode) && non_zero(mode);
    if (is_set) {
        if (!is_decimal(mode)) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_tts_send invalid param!\r\n");
            return refuse(pOut, TTS_RET_ERROR);
        }
        if (start_speech && tts_audend == 0) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_tts_send tts is playing!\r\n");
            return refuse(pOut, TTS_RET_REFUSED);
        }
        if (tts_enable == 0) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_tts_send tts is disabled!\r\n");
            return refuse(pOut, TTS_RET_REFUSED);
        }
        if (start_speech && rec_tts_at_cmd_perm_get() == AUDIO_PERM_RECORDER) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_tts_send recorder is using audio!\r\n");
            return refuse(pOut, TTS_RET_REFUSED);
        }
    }

    if (tts_at_exec_cmd(pIn, pOut) == -1) {
        audio_at::take_engine_result(pOut, -1, TTS_RET_ERROR);
        // Whatever the engine was asked, a failure leaves no speech running.
        tts_audend = 1;
        return TANDREL_OK;
    }
    audio_at::take_engine_result(pOut, 0, TTS_RET_ERROR);
    if (start_speech) {
        tts_audend = 0;
        rec_tts_at_cmd_perm_set(AUDIO_PERM_TTS);
    }
    return TANDREL_OK;
}

int32_t at_tts_cfg(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    const bool is_set = pIn->m_type == NL_TYPE_SET;
    if (is_set) {
        if (pIn->m_para_count == 0) {
            return refuse(pOut, TTS_RET_REFUSED);
        }
        if (!is_decimal(para_text(*pIn, 0)) || !is_decimal(para_text(*pIn, 1))) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_tts_cfg invalid param!\r\n");
            return refuse(pOut, TTS_RET_ERROR);
        }
        // Settings stay as they are while the engine speaks.
        if (tts_audend == 0) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_tts_cfg tts is playing!\r\n");
            return refuse(pOut, TTS_RET_REFUSED);
        }
    }

    const int32_t result = tts_at_cfg_cmd(pIn, pOut);
    audio_at::take_engine_result(pOut, result, TTS_RET_ERROR);
    if (result != -1 && is_set && audio_at::decimal_value(para_text(*pIn, 0)) == 0) {
        tts_enable = audio_at::decimal_value(para_text(*pIn, 1));
    }
    return TANDREL_OK;
}

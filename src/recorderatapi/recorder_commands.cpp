// ^AUDREC and ^RECCFG: the audio-path interlock and the write lock in front of the recorder engine.
#include <cstring>

#include "recorder.h"
#include "recorder_at_handlers.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"
#include "ttsatapi/audio_at_params.h"
#include "ttsatapi/audio_perm.h"

using audio_at::para_text;
using audio_at::refuse;

namespace {
constexpr int32_t kAudrecStop = 0;
constexpr int32_t kAudrecRecord = 1;
constexpr int32_t kAudrecPlay = 2;
constexpr int32_t kAudrecOp3 = 3;
}  // namespace

int32_t recorder_file_index(const char* name) {
    const std::string_view s(name, strnlen(name, AT_PARA_TEXT_SIZE));
    if (s == "RAM" || s.size() <= 3) {
        return 0;
    }
    return audio_at::atoi_value(s.substr(3));
}

bool recorder_take_file_name(AtRequest* pIn, uint32_t i, const char** name) {
    char* text = audio_at::para_cstr(*pIn, i);
    const size_t len = strlen(text);
    if (len == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "recorder file name is empty!\r\n");
        return false;
    }
    if (recorder_at_strip_quotes_out(text, text, static_cast<uint16_t>(len)) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "recorder file name is not quoted!\r\n");
        return false;
    }
    // Whatever the engine wrote, the name stays a C string inside its field.
    text = audio_at::para_cstr(*pIn, i);
    if (recorder_at_check_file_name(text) == 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "recorder file name is invalid!\r\n");
        return false;
    }
    *name = text;
    return true;
}

int32_t at_recorder_audrec_exec(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    const bool is_set = pIn->m_type == NL_TYPE_SET;
    if (is_set && pIn->m_para_count == 0) {
        return refuse(pOut, REC_RET_ERROR);
    }
    const int32_t operation = audio_at::atoi_value(para_text(*pIn, 0));
    if (is_set && operation != kAudrecStop && operation != kAudrecOp3 &&
        rec_tts_at_cmd_perm_get() == AUDIO_PERM_TTS) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_recorder_audrec_exec tts is using audio!\r\n");
        return refuse(pOut, REC_RET_REFUSED);
    }
    if (pIn->m_para_count == 2) {
        const char* name = nullptr;
        if (!recorder_take_file_name(pIn, 1, &name)) {
            return refuse(pOut, REC_RET_ERROR);
        }
        // A file that ^FILEIO is filling may be played, nothing else.
        if (recorder_file_is_being_written(recorder_file_index(name)) &&
            operation != kAudrecPlay) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_recorder_audrec_exec file is being written!\r\n");
            return refuse(pOut, REC_RET_REFUSED);
        }
    }
    // Taken before the engine call, whatever the request type, and given
    // back only by the end report, even when the engine fails: the engine
    // may have started anyway.
    if (operation == kAudrecRecord || operation == kAudrecPlay) {
        rec_tts_at_cmd_perm_set(AUDIO_PERM_RECORDER);
    }
    if (operation == kAudrecRecord && para_text(*pIn, 1) == "RAM") {
        g_IsRamRecordInProgress = 1;
    }

    audio_at::take_engine_result(pOut, recorder_at_audrec_cmd(pIn, pOut), REC_RET_ERROR);
    return TANDREL_OK;
}

int32_t at_recorder_reccfg_exec(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    if (pIn->m_type == NL_TYPE_SET && pIn->m_para_count == 0) {
        return refuse(pOut, REC_RET_REFUSED);
    }
    audio_at::take_engine_result(pOut, recorder_at_reccfg_cmd(pIn, pOut), REC_RET_ERROR);
    return TANDREL_OK;
}

// Text-to-speech engine: its AT entry points and the end-of-speech event it raises.
#pragma once

#include <cstddef>
#include <cstdint>

#include "at_record.h"

// Notify module of the text-to-speech adapter and the one event it serves.
inline constexpr uint32_t NOTIFY_MODULE_TTS = 69;
inline constexpr uint32_t TTS_EVT_AUDEND = 68000;

extern "C" {
// Payload of event 68000, raised to the module's callback as (pointer, length):
// two words the engine reports when it has finished speaking.
struct TtsAudendInfo {
    uint32_t word1;
    uint32_t word2;
};

// Carry out ^TTS and ^TTSCFG: they read the unchanged request, write the whole
// reply text (final result included) into m_buffer and may set m_retenum.
// -1 is failure, any other value success. Speech goes on after the call
// returns; its end arrives as event 68000.
int32_t tts_at_exec_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t tts_at_cfg_cmd(AtRequest* pIn, AtResponse* pOut);
}

static_assert(sizeof(TtsAudendInfo) == 8);
static_assert(offsetof(TtsAudendInfo, word2) == 4);

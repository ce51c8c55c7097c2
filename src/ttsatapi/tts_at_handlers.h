// Text-to-speech commands, their end-of-speech report and the adapter's state.
#pragma once

#include <cstdint>

#include "at_record.h"

// Result numbers of the text-to-speech commands.
inline constexpr int32_t TTS_RET_REFUSED = 193;  // the adapter's own state, or no parameters
inline constexpr int32_t TTS_RET_ERROR = 194;    // invalid parameter, unnumbered engine failure

// 1 while no speech runs; 0 from a successful start of speech to its end report.
extern uint32_t tts_audend;
// Last value set through ^TTSCFG setting type 0; ^TTS sets are refused while it is 0.
extern uint32_t tts_enable;

// ^TTS set, query and test.
int32_t at_tts_send(AtRequest* pIn, AtResponse* pOut);
// ^TTSCFG set, query and test.
int32_t at_tts_cfg(AtRequest* pIn, AtResponse* pOut);

// Start-up: clears the state and joins the notify bus as module 69.
// 0, or -1 when the registration failed.
extern "C" int32_t at_tts_init(void);
// Both callbacks of module 69: event 68000 (info pointer, length) is the end of speech.
extern "C" int32_t tts_notify_handler(uint32_t event, uintptr_t arg1, uintptr_t arg2);
// Sends "^AUDEND" for the end of speech and frees the audio path. 0, or -1
// when nothing was sent.
int32_t at_tts_audend_report(const void* info, uintptr_t length);

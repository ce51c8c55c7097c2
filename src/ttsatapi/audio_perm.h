// The audio permission by which text-to-speech and the recorder share one audio path.
#pragma once

#include <cstdint>

// The audio path: free, held by the recorder, or held by text-to-speech.
inline constexpr int32_t AUDIO_PERM_FREE = 0;
inline constexpr int32_t AUDIO_PERM_RECORDER = 1;
inline constexpr int32_t AUDIO_PERM_TTS = 2;
void rec_tts_at_cmd_perm_set(int32_t v);
int32_t rec_tts_at_cmd_perm_get(void);

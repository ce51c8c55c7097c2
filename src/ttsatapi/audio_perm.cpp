// The audio permission value by which text-to-speech and the recorder share one audio path.
#include "audio_perm.h"

#include "tandrel_trace.h"

namespace {
// Touched only from notify callbacks, all on the message-loop thread.
int32_t g_audio_perm = AUDIO_PERM_FREE;
}  // namespace

void rec_tts_at_cmd_perm_set(int32_t v) {
    TANDREL_TRACE(TRACE_LEVEL_INFO, "rec_tts_at_cmd_perm_set val=%d!\n", v);
    g_audio_perm = v;
}

int32_t rec_tts_at_cmd_perm_get(void) {
    TANDREL_TRACE(TRACE_LEVEL_INFO, "rec_tts_at_cmd_perm_get\n");
    return g_audio_perm;
}

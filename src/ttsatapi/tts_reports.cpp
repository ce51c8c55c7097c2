// The text-to-speech adapter's notify module and the "^AUDEND" report at the end of speech.
#include <array>

#include "audio_perm.h"
#include "osa.h"
#include "qsp_notify.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"
#include "tts.h"
#include "tts_at_handlers.h"

namespace {
// The report text fits a 129-byte work buffer: at most 127 characters.
constexpr size_t kAudendTextSize = 129;
constexpr size_t kAudendTextMax = 127;
constexpr uint32_t kAudendReportId = 60;
}  // namespace

int32_t at_tts_audend_report(const void* info, uintptr_t length) {
    if (info == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    // The speech is over whatever happens to its report.
    tts_audend = 1;

    // The payload is the engine's: only the bytes it says it sent are read;
    // a short payload reads as zeros beyond them.
    TtsAudendInfo words{};
    if (length < sizeof words) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_tts_audend_report short payload %lu\r\n",
                      static_cast<unsigned long>(length));
    }
    osa_memcpy_s(&words, sizeof words, info, length < sizeof words ? length : sizeof words);

    AtReport report({PCUI, kAudendReportId, 0}, TANDREL_TAG,
                    "at_tts_audend_report osa_malloc failed\r\n");
    if (!report) {
        return TANDREL_FAIL;
    }
    std::array<char, kAudendTextSize> text{};
    new_snprintf_s(text.data(), text.size(), kAudendTextMax, "%s: %lu,%lu\r\n", "^AUDEND",
                   static_cast<unsigned long>(words.word1), static_cast<unsigned long>(words.word2));
    report.send(text.data());

    rec_tts_at_cmd_perm_set(AUDIO_PERM_FREE);
    return TANDREL_OK;
}

extern "C" int32_t tts_notify_handler(uint32_t event, uintptr_t arg1, uintptr_t arg2) {
    if (event != TTS_EVT_AUDEND) {
        return TANDREL_FAIL;
    }
    return at_tts_audend_report(reinterpret_cast<const void*>(arg1), arg2);
}

int32_t at_tts_init(void) {
    tts_enable = 0;
    tts_audend = 1;
    if (register_notify_handler(NOTIFY_MODULE_TTS, tts_notify_handler, tts_notify_handler) != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_tts_init register_notify_handler error\r\n");
        return TANDREL_FAIL;
    }
    return TANDREL_OK;
}

// Any bytes as the payload of an audio engine event: recorder end, file data, ring, end of speech.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fake_audio.h"
#include "fuzz_support.h"
#include "recorder.h"
#include "recorderatapi/recorder_at_handlers.h"
#include "tandrel_core.h"
#include "tts.h"
#include "ttsatapi/tts_at_handlers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    fake::platform().reset();
    fake::audio().reset();
    at_recorder_init();
    // Byte 0 picks the event, byte 1 the adapter state the event meets.
    static constexpr uint32_t kEvents[] = {RECORDER_EVT_AUDEND, RECORDER_EVT_FILEDATA,
                                           RECORDER_EVT_RING, TTS_EVT_AUDEND};
    const uint32_t event = kEvents[data[0] % 4];
    recorder_set_file_state({
        .fileio_write_index = (data[1] & 2) != 0 ? 0 : ((data[1] & 4) != 0 ? 3 : -1),
        .fileio_ram_target = (data[1] & 1) != 0 ? 0 : -1,
        .ram_written_size = (data[1] & 8) != 0 ? 2147483000 : 0,
    });

    // The payload lives in a buffer of exactly its length, so any read past
    // what the engine said it sent is caught.
    std::vector<uint8_t> payload(data + 2, data + size);
    payload.reserve(1);
    const auto info = reinterpret_cast<uintptr_t>(payload.data());
    if (event == TTS_EVT_AUDEND) {
        tts_notify_handler(event, info, payload.size());
    } else {
        recorder_event_dispatch(event, info, payload.size());
    }

    // The reports are texts of at most their work buffer, taken up to the first NUL.
    fuzz::check_sent([](const AtResponse& r) {
        return r.m_length <= 1540 && std::memchr(r.m_buffer, '\0', r.m_length) == nullptr &&
               (r.m_id == 60 || r.m_id == 79 || r.m_id == 0);
    });
    fuzz::require(fake::platform().sent.size() <= 1);
    return 0;
}

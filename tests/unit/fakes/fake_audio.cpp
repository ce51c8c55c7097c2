// Recording fakes of the text-to-speech and recorder engines.
#include "fake_audio.h"

#include <algorithm>
#include <cstring>

#include "fake_platform.h"
#include "tts.h"

namespace fake {

Audio& audio() {
    static Audio a;
    return a;
}

namespace {

int32_t engine(const char* name, const EngineAnswer& answer, AtRequest*, AtResponse* pOut) {
    audio().calls.push_back(name);
    if (answer.retenum != 0) {
        pOut->m_retenum = answer.retenum;
    }
    const size_t n = std::min(answer.text.size(), sizeof pOut->m_buffer - 1);
    std::memcpy(pOut->m_buffer, answer.text.data(), n);
    pOut->m_buffer[n] = '\0';
    return answer.result;
}

}  // namespace
}  // namespace fake

using fake::audio;

extern "C" {

int32_t tts_at_exec_cmd(AtRequest* pIn, AtResponse* pOut) {
    return fake::engine("tts_at_exec_cmd", audio().tts_exec, pIn, pOut);
}

int32_t tts_at_cfg_cmd(AtRequest* pIn, AtResponse* pOut) {
    return fake::engine("tts_at_cfg_cmd", audio().tts_cfg, pIn, pOut);
}

}  // extern "C"

int32_t g_IsRamRecordInProgress = 0;

extern "C" {

int32_t recorder_at_audrec_cmd(AtRequest* pIn, AtResponse* pOut) {
    return fake::engine("recorder_at_audrec_cmd", audio().audrec, pIn, pOut);
}

int32_t recorder_at_reccfg_cmd(AtRequest* pIn, AtResponse* pOut) {
    return fake::engine("recorder_at_reccfg_cmd", fake::EngineAnswer{}, pIn, pOut);
}

int32_t recorder_at_fileio_cmd(AtRequest* pIn, AtResponse* pOut) {
    NotifyCallback deliver = nullptr;
    for (const fake::Registered& r : fake::platform().registered) {
        if (r.module == NOTIFY_MODULE_RECORDER) {
            deliver = r.first;
        }
    }
    if (!audio().fileio_events.empty() && deliver == nullptr) {
        ADD_FAILURE() << "file data to deliver but module 80 is not registered";
    }
    // The packets may be the test's own storage: copy before delivering.
    const std::vector<RecorderFileData> packets = audio().fileio_events;
    for (const RecorderFileData& p : packets) {
        if (deliver != nullptr) {
            deliver(RECORDER_EVT_FILEDATA, reinterpret_cast<uintptr_t>(&p), sizeof p);
        }
    }
    if (audio().during_fileio) {
        audio().during_fileio();
    }
    return fake::engine("recorder_at_fileio_cmd", audio().fileio, pIn, pOut);
}

int32_t recorder_at_strip_quotes_out(char* in, char* out, uint16_t length) {
    if (length < 2 || in[0] != '"' || in[length - 1] != '"') {
        return 0;
    }
    std::memmove(out, in + 1, length - 2u);
    out[length - 2] = '\0';
    return 1;
}

int32_t recorder_at_check_file_name(const char* name) {
    const std::string n(name);
    const auto& r = audio().rejected_names;
    return !n.empty() && std::find(r.begin(), r.end(), n) == r.end();
}

int32_t rec_at_util_is_number(const char* text) {
    const std::string t(text);
    return !t.empty() && t.find_first_not_of("0123456789") == std::string::npos;
}

void recorder_save_ram_size(int32_t size) { audio().saved_ram_sizes.push_back(size); }

}  // extern "C"

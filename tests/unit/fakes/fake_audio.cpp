// Recording fakes of the text-to-speech and recorder engines.
#include "fake_audio.h"

#include <algorithm>
#include <cstring>

#include "tts.h"

namespace fake {

Audio& audio() {
    static Audio a;
    return a;
}

std::vector<std::string> Audio::call_names() const {
    std::vector<std::string> names;
    for (const EngineCall& c : calls) {
        names.push_back(c.name);
    }
    return names;
}

namespace {

int32_t engine(const char* name, const EngineAnswer& answer, AtRequest* pIn, AtResponse* pOut) {
    EngineCall c;
    c.name = name;
    c.type = pIn->m_type;
    c.para_count = pIn->m_para_count;
    for (uint32_t i = 0; i < std::min<uint32_t>(pIn->m_para_count, AT_MAX_PARAS); ++i) {
        c.paras.emplace_back(at_para_text(pIn->m_para_list[i]));
    }
    audio().calls.push_back(std::move(c));
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

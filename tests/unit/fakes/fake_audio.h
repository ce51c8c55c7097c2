// Recording fakes of the text-to-speech and recorder engines: calls as the engine saw them, answers chosen by a test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fake {

// One call of an engine's AT entry point, as the engine saw the request.
struct EngineCall {
    std::string name;  // the entry point
    uint32_t type = 0;
    uint32_t para_count = 0;
    std::vector<std::string> paras;  // texts of the counted parameters
};

// What an engine entry point answers.
struct EngineAnswer {
    int32_t result = 0;    // -1 is failure
    int32_t retenum = 0;   // written into m_retenum when non-zero
    std::string text = "\r\nOK\r\n";
};

struct Audio {
    std::vector<EngineCall> calls;
    EngineAnswer tts_exec;
    EngineAnswer tts_cfg;

    void reset() { *this = Audio{}; }
    // Names of the calls, in order.
    std::vector<std::string> call_names() const;
};

Audio& audio();

}  // namespace fake

// Fixture of the audio suites: clean fakes, adapters started, and calls by request bytes.
#pragma once

#include <cstring>
#include <memory>

#include "fake_audio.h"
#include "fake_platform.h"
#include "request_builder.h"
#include "tandrel_adapters.h"
#include "tandrel_core.h"
#include "ttsatapi/audio_perm.h"

namespace audio_test {

// A handler's return value and the response it filled.
struct Outcome {
    int32_t ret;
    std::unique_ptr<AtResponse> rsp;
    const AtResponse* operator->() const { return rsp.get(); }
    std::string text() const { return std::string(rsp->m_buffer, rsp->m_length); }
};

class AudioTest : public fake::PlatformTest {
protected:
    void SetUp() override {
        fake::PlatformTest::SetUp();
        fake::audio().reset();
        at_tts_init();
        at_recorder_init();
        rec_tts_at_cmd_perm_set(AUDIO_PERM_FREE);
        P().traces.clear();
    }

    // Calls a handler directly with a zero-filled response, as the dispatcher would.
    static Outcome call(AtHandler h, fake::RequestBytes& r) {
        auto req = std::make_unique<AtRequest>();
        std::memcpy(req.get(), r.data(), sizeof(AtRequest));
        Outcome o{0, std::make_unique<AtResponse>()};
        std::memset(o.rsp.get(), 0, sizeof(AtResponse));
        o.ret = h(req.get(), o.rsp.get());
        return o;
    }

    // The callback a module registered (first or second), or null.
    NotifyCallback callback(uint32_t module, bool first = true) {
        for (const fake::Registered& reg : P().registered) {
            if (reg.module == module) {
                return first ? reg.first : reg.second;
            }
        }
        return nullptr;
    }
};

}  // namespace audio_test

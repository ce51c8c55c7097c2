// Simulated text-to-speech engine: speaks for a time that follows the text and its speed, then
// raises the end of speech.
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "host_env.h"
#include "notify_bus.h"
#include "sim_request.h"
#include "tandrel_trace.h"
#include "tts.h"

extern char** environ;

namespace {

using sim_request::answer;
using sim_request::number_of;
using sim_request::para;

using Clock = std::chrono::steady_clock;

constexpr size_t kMaxText = 500;
constexpr uint32_t kMaxLevel = 100;
// At speed 50 a character takes 70 ms (about 170 words a minute); speed 0
// doubles that, speed 100 makes it 20 ms.
constexpr int kMsPerCharAtZero = 120;
constexpr int kMinSpeechMs = 300;

// The engine's state, shared between the command calls (message-loop thread)
// and the speaking thread. Never freed: the speaking thread may outlive
// every static destructor at process exit.
struct TtsSim {
    std::mutex mu;
    std::condition_variable cv;
    uint32_t enable = 0;
    uint32_t volume = 50;
    uint32_t speed = 50;
    bool speaking = false;
    bool stop = false;
    bool job = false;  // a speech waits for the thread to take it
    std::string text;
    uint32_t speech_no = 0;
    Clock::time_point deadline;
    bool thread_started = false;
};

TtsSim& sim() {
    static TtsSim* s = new TtsSim;
    return *s;
}

// Renders the text to "<run dir>/tts.wav" when espeak-ng is installed; the
// speech goes on without it.
void render_wav(const std::string& text, uint32_t volume, uint32_t speed) {
    char path[4096];
    if (!host_run_path("tts.wav", path, sizeof path)) {
        return;
    }
    const std::string amplitude = std::to_string(volume * 2);  // espeak-ng: 0 to 200
    const std::string wpm = std::to_string(80 + speed * 3);    // 80 to 380 words a minute
    const char* argv[] = {"espeak-ng", "-q",        "-w", path,         "-a",   amplitude.c_str(),
                          "-s",        wpm.c_str(), "--", text.c_str(), nullptr};
    pid_t pid = 0;
    const int rc =
        posix_spawnp(&pid, "espeak-ng", nullptr, nullptr, const_cast<char* const*>(argv), environ);
    if (rc != 0) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_DEBUG, "tts sim: espeak-ng not run (%d), no wav\n",
                          rc);
        return;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
}

void raise_audend(uint32_t speech_no, uint32_t stopped) {
    const TtsAudendInfo info{speech_no, stopped};
    NotifyEvent e{};
    e.module = NOTIFY_MODULE_TTS;
    e.event = TTS_EVT_AUDEND;
    e.slot = NotifySlot::First;
    e.layout = NotifyLayout::PtrLen;
    e.payload = &info;
    e.len = sizeof info;
    notify_bus_raise(e);
}

void speaking_thread() {
    TtsSim& s = sim();
    std::unique_lock<std::mutex> lock(s.mu);
    for (;;) {
        s.cv.wait(lock, [&] { return s.job; });
        s.job = false;
        const std::string text = s.text;
        const uint32_t volume = s.volume;
        const uint32_t speed = s.speed;
        lock.unlock();
        render_wav(text, volume, speed);
        lock.lock();
        s.cv.wait_until(lock, s.deadline, [&] { return s.stop; });
        const uint32_t stopped = s.stop ? 1 : 0;
        s.speaking = false;
        s.stop = false;
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO, "tts sim: speech %u %s\n", s.speech_no,
                          stopped != 0 ? "stopped" : "finished");
        raise_audend(s.speech_no, stopped);
    }
}

int32_t start_speech(std::string_view quoted, AtResponse* pOut) {
    if (quoted.size() < 3 || quoted.front() != '"' || quoted.back() != '"' ||
        quoted.size() - 2 > kMaxText) {
        return -1;
    }
    TtsSim& s = sim();
    std::lock_guard<std::mutex> lock(s.mu);
    if (s.enable == 0 || s.speaking) {
        return -1;
    }
    s.text.assign(quoted.substr(1, quoted.size() - 2));
    const int ms_per_char = kMsPerCharAtZero - static_cast<int>(s.speed);
    int ms = static_cast<int>(s.text.size()) * ms_per_char;
    if (ms < kMinSpeechMs) {
        ms = kMinSpeechMs;
    }
    s.deadline = Clock::now() + std::chrono::milliseconds(ms);
    s.speaking = true;
    s.stop = false;
    s.job = true;
    ++s.speech_no;
    if (!s.thread_started) {
        std::thread(speaking_thread).detach();
        s.thread_started = true;
    }
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO, "tts sim: speech %u, %zu characters, %d ms\n",
                      s.speech_no, s.text.size(), ms);
    s.cv.notify_all();
    answer(pOut, AT_TEXT_OK);
    return 0;
}

}  // namespace

extern "C" int32_t tts_at_exec_cmd(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        return -1;
    }
    TtsSim& s = sim();
    if (pIn->m_type == NL_TYPE_TEST) {
        answer(pOut, "\r\n^TTS: (0,1),(text)\r\n\r\nOK\r\n");
        return 0;
    }
    if (pIn->m_type == NL_TYPE_QUERY) {
        std::lock_guard<std::mutex> lock(s.mu);
        (void)snprintf(pOut->m_buffer, sizeof pOut->m_buffer, "\r\n^TTS: %d\r\n\r\nOK\r\n",
                       s.speaking ? 1 : 0);
        return 0;
    }
    const std::string_view mode = para(pIn, 0);
    if (mode == "1") {
        return start_speech(para(pIn, 1), pOut);
    }
    if (mode == "0" && pIn->m_para_count == 1) {
        // Stopping silence is no error; only a running speech ends with an event.
        std::lock_guard<std::mutex> lock(s.mu);
        if (s.speaking) {
            s.stop = true;
            s.cv.notify_all();
        }
        answer(pOut, AT_TEXT_OK);
        return 0;
    }
    return -1;
}

extern "C" int32_t tts_at_cfg_cmd(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        return -1;
    }
    TtsSim& s = sim();
    std::lock_guard<std::mutex> lock(s.mu);
    if (pIn->m_type == NL_TYPE_TEST) {
        answer(pOut, "\r\n^TTSCFG: (0-2),(0-100)\r\n\r\nOK\r\n");
        return 0;
    }
    if (pIn->m_type == NL_TYPE_QUERY) {
        (void)snprintf(pOut->m_buffer, sizeof pOut->m_buffer,
                       "\r\n^TTSCFG: 0,%u\r\n^TTSCFG: 1,%u\r\n^TTSCFG: 2,%u\r\n\r\nOK\r\n",
                       s.enable, s.volume, s.speed);
        return 0;
    }
    uint32_t type = 0;
    uint32_t value = 0;
    if (pIn->m_para_count != 2 || !number_of(para(pIn, 0), &type) ||
        !number_of(para(pIn, 1), &value)) {
        return -1;
    }
    switch (type) {
        case 0:
            if (value > 1) {
                return -1;
            }
            s.enable = value;
            break;
        case 1:
        case 2:
            if (value > kMaxLevel) {
                return -1;
            }
            (type == 1 ? s.volume : s.speed) = value;
            break;
        default:
            return -1;
    }
    answer(pOut, AT_TEXT_OK);
    return 0;
}

// Simulated audio recorder engine: files in the run directory, recording and playback with their
// end events, file transfer packets.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "hex_digit.h"
#include "host_env.h"
#include "notify_bus.h"
#include "qsp_notify.h"
#include "recorder.h"
#include "sim_request.h"
#include "tandrel_trace.h"

int32_t g_IsRamRecordInProgress = 0;

namespace {

using sim_request::answer;
using sim_request::number_of;
using sim_request::para;

using Clock = std::chrono::steady_clock;

// Recordings are 8 kHz 16-bit mono PCM.
constexpr uint32_t kBytesPerSecond = 16000;
constexpr uint32_t kChunkMs = 100;
// File data travels 512 bytes (1024 hex characters) per packet.
constexpr size_t kPacketBytes = 512;
// One read hands over at most this much; larger files are read by offset and length.
constexpr size_t kMaxReadBytes = 1 << 20;
constexpr uint32_t kMaxRecordSeconds = 300;
constexpr uint32_t kMaxVolume = 100;
constexpr double kTwoPi = 6.283185307179586;
constexpr double kToneHz = 440.0;
constexpr double kSampleRate = 8000.0;

constexpr uint32_t kFileRead = 1;
constexpr uint32_t kFileWrite = 2;
constexpr uint32_t kFileDelete = 3;

constexpr uint32_t kOpStop = 0;
constexpr uint32_t kOpRecord = 1;
constexpr uint32_t kOpPlay = 2;
// Second value of the end report: how the recording or playback ended.
constexpr uint32_t kEndStopped = 0;
constexpr uint32_t kEndComplete = 1;
constexpr uint32_t kEndFailed = 2;

enum class Activity { Idle, Recording, Playing };

// The engine's state, shared between the command calls (message-loop thread)
// and the audio thread. Never freed: the audio thread may outlive every
// static destructor at process exit.
struct RecorderSim {
    std::mutex mu;
    std::condition_variable cv;
    Activity activity = Activity::Idle;
    std::string file;  // the file being recorded or played
    bool stop = false;
    bool job = false;
    bool thread_started = false;
    Clock::time_point started;
    Clock::time_point deadline;
    uint32_t max_seconds = 10;
    uint32_t volume = 50;
    int32_t ram_size = 0;  // as the daemon last stored it
};

std::string file_path(const std::string& name) {
    char path[4096];
    const std::string leaf = "audio_" + name + ".pcm";
    return host_run_path(leaf.c_str(), path, sizeof path) ? std::string(path) : std::string();
}

RecorderSim& sim() {
    static RecorderSim* s = [] {
        // The RAM file does not outlive the engine.
        const std::string ram = file_path("RAM");
        if (!ram.empty()) {
            unlink(ram.c_str());
        }
        return new RecorderSim;
    }();
    return *s;
}

// Size of a file, -1 when it does not exist.
long file_size(const std::string& name) {
    const std::string path = file_path(name);
    FILE* f = path.empty() ? nullptr : fopen(path.c_str(), "rb");
    if (f == nullptr) {
        return -1;
    }
    (void)fseek(f, 0, SEEK_END);
    const long n = ftell(f);
    (void)fclose(f);
    return n;
}

void raise_first(uint32_t event, const void* payload, uint32_t len) {
    NotifyEvent e{};
    e.module = NOTIFY_MODULE_RECORDER;
    e.event = event;
    e.slot = NotifySlot::First;
    e.layout = NotifyLayout::PtrLen;
    e.payload = payload;
    e.len = len;
    notify_bus_raise(e);
}

void raise_audend(const std::string& name, uint32_t op, uint32_t how, int32_t size) {
    const RecorderAudendInfo info{name == "RAM" && op == kOpRecord ? RECORDER_AUDEND_RAM_RECORD : 0,
                                  op, how, size};
    raise_first(RECORDER_EVT_AUDEND, &info, sizeof info);
}

// A tone at the configured volume, so that a recording holds something audible.
void append_tone(const std::string& name, uint32_t bytes, uint32_t volume, uint32_t* phase) {
    std::vector<uint8_t> pcm(bytes & ~1u);
    const double amplitude = 8000.0 * volume / kMaxVolume;
    for (size_t i = 0; i + 1 < pcm.size(); i += 2) {
        const auto v =
            static_cast<int16_t>(amplitude * std::sin(kTwoPi * kToneHz * (*phase)++ / kSampleRate));
        pcm[i] = static_cast<uint8_t>(v & 0xFF);
        pcm[i + 1] = static_cast<uint8_t>((v >> 8) & 0xFF);
    }
    const std::string path = file_path(name);
    const int fd =
        path.empty() ? -1 : open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd >= 0) {
        if (write(fd, pcm.data(), pcm.size()) != static_cast<ssize_t>(pcm.size())) {
            TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "recorder sim: write to %s failed\n",
                              path.c_str());
        }
        close(fd);
    }
}

void audio_thread() {
    RecorderSim& s = sim();
    std::unique_lock<std::mutex> lock(s.mu);
    for (;;) {
        s.cv.wait(lock, [&] { return s.job; });
        s.job = false;
        const std::string name = s.file;
        const bool recording = s.activity == Activity::Recording;
        uint32_t phase = 0;
        // A recording holds the sound of the time it ran, however late this
        // thread gets to write it: a complete one always its full length.
        uint64_t written = 0;
        for (;;) {
            const bool running = !s.stop && Clock::now() < s.deadline;
            if (recording) {
                const auto until = running  ? Clock::now()
                                   : s.stop ? std::min(Clock::now(), s.deadline)
                                            : s.deadline;
                const auto ms =
                    std::chrono::duration_cast<std::chrono::milliseconds>(until - s.started)
                        .count();
                const uint64_t due =
                    static_cast<uint64_t>(ms < 0 ? 0 : ms) * kBytesPerSecond / 1000;
                if (due > written) {
                    const uint32_t volume = s.volume;
                    lock.unlock();
                    append_tone(name, static_cast<uint32_t>(due - written), volume, &phase);
                    lock.lock();
                    written = due;
                }
            }
            if (!running) {
                break;
            }
            const auto next =
                std::min(Clock::now() + std::chrono::milliseconds(kChunkMs), s.deadline);
            s.cv.wait_until(lock, next, [&] { return s.stop; });
        }
        const uint32_t how = s.stop ? kEndStopped : kEndComplete;
        s.stop = false;
        s.activity = Activity::Idle;
        s.file.clear();
        const long size = file_size(name);
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO,
                          "recorder sim: %s of %s ended (%u), %ld bytes\n",
                          recording ? "recording" : "playback", name.c_str(), how, size);
        raise_audend(name, recording ? kOpRecord : kOpPlay, how,
                     recording ? static_cast<int32_t>(size < 0 ? 0 : size) : -1);
    }
}

bool valid_name(std::string_view name) {
    if (name == "RAM") {
        return true;
    }
    uint32_t n = 0;
    return name.size() >= 4 && name.size() <= 6 && name.substr(0, 3) == "rec" &&
           number_of(name.substr(3), &n) && n >= 1;
}

// Starts a recording or playback; the caller holds the lock.
int32_t start(RecorderSim& s, uint32_t op, const std::string& name) {
    long ms = static_cast<long>(s.max_seconds) * 1000;
    if (op == kOpRecord) {
        const std::string path = file_path(name);
        const int fd =
            path.empty() ? -1 : open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd < 0) {
            return -1;
        }
        close(fd);
    } else {
        const long size = file_size(name);
        if (size <= 0) {
            return -1;
        }
        ms = size * 1000 / kBytesPerSecond;
        ms = ms < 100 ? 100 : ms;
    }
    s.activity = op == kOpRecord ? Activity::Recording : Activity::Playing;
    s.file = name;
    s.stop = false;
    s.job = true;
    s.started = Clock::now();
    s.deadline = s.started + std::chrono::milliseconds(ms);
    if (!s.thread_started) {
        std::thread(audio_thread).detach();
        s.thread_started = true;
    }
    s.cv.notify_all();
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO, "recorder sim: %s %s for at most %ld ms\n",
                      op == kOpRecord ? "recording" : "playing", name.c_str(), ms);
    return 0;
}

void deliver(RecorderFileData* pkt) {
    send_notify(NOTIFY_MODULE_RECORDER, RECORDER_EVT_FILEDATA, sizeof *pkt, pkt, 0, sizeof *pkt);
}

int32_t read_file(const std::string& name, const AtRequest* pIn) {
    const long size = file_size(name);
    if (size < 0) {
        return -1;
    }
    uint32_t offset = 0;
    uint32_t length = static_cast<uint32_t>(size);
    if (pIn->m_para_count >= 4 &&
        (!number_of(para(pIn, 2), &offset) || !number_of(para(pIn, 3), &length))) {
        return -1;
    }
    if (offset > static_cast<unsigned long>(size)) {
        return -1;
    }
    length = std::min<uint32_t>(
        {length, static_cast<uint32_t>(size) - offset, static_cast<uint32_t>(kMaxReadBytes)});
    std::vector<uint8_t> bytes(length);
    FILE* f = fopen(file_path(name).c_str(), "rb");
    if (f == nullptr) {
        return -1;
    }
    (void)fseek(f, static_cast<long>(offset), SEEK_SET);
    bytes.resize(fread(bytes.data(), 1, bytes.size(), f));
    (void)fclose(f);

    RecorderFileData pkt{};
    pkt.kind = RECORDER_FILEDATA_READ;
    pkt.file_size = static_cast<uint32_t>(size);
    if (name == "RAM") {
        strncpy(pkt.data, "ram_size", sizeof pkt.data - 1);
    } else {
        strncpy(pkt.data, "rec", sizeof pkt.data - 1);
        strncpy(pkt.file_name, name.c_str(), sizeof pkt.file_name - 1);
    }
    deliver(&pkt);
    static constexpr char kHex[] = "0123456789ABCDEF";
    for (size_t at = 0; at < bytes.size(); at += kPacketBytes) {
        RecorderFileData data{};
        data.kind = RECORDER_FILEDATA_READ;
        data.file_size = static_cast<uint32_t>(size);
        data.packet_no = static_cast<uint16_t>(at / kPacketBytes + 1);
        const size_t n = std::min(kPacketBytes, bytes.size() - at);
        for (size_t i = 0; i < n; ++i) {
            data.data[2 * i] = kHex[bytes[at + i] >> 4];
            data.data[2 * i + 1] = kHex[bytes[at + i] & 0xF];
        }
        data.data_len = static_cast<int32_t>(2 * n);
        deliver(&data);
    }
    return 0;
}

// AT^FILEIO=2,<file>,<offset>,<length>,<packet>,<total>,"<hex data>"
int32_t write_file(const std::string& name, const AtRequest* pIn) {
    uint32_t offset = 0;
    uint32_t length = 0;
    uint32_t packet = 0;
    uint32_t total = 0;
    const std::string_view quoted = para(pIn, 6);
    if (pIn->m_para_count != 7 || !number_of(para(pIn, 2), &offset) ||
        !number_of(para(pIn, 3), &length) || !number_of(para(pIn, 4), &packet) ||
        !number_of(para(pIn, 5), &total) || packet == 0 || packet > total || packet > UINT16_MAX ||
        quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"' ||
        quoted.size() - 2 != 2 * static_cast<size_t>(length)) {
        return -1;
    }
    std::vector<uint8_t> bytes(length);
    for (size_t i = 0; i < length; ++i) {
        const int hi = hex_digit_value(quoted[1 + 2 * i]);
        const int lo = hex_digit_value(quoted[2 + 2 * i]);
        if (hi < 0 || lo < 0) {
            return -1;
        }
        bytes[i] = static_cast<uint8_t>(hi << 4 | lo);
    }
    const std::string path = file_path(name);
    // The first packet starts the file afresh.
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (packet == 1 ? O_TRUNC : 0);
    const int fd = path.empty() ? -1 : open(path.c_str(), flags, 0644);
    if (fd < 0) {
        return -1;
    }
    const bool ok =
        pwrite(fd, bytes.data(), bytes.size(), offset) == static_cast<ssize_t>(bytes.size());
    close(fd);
    if (!ok) {
        return -1;
    }
    RecorderFileData ack{};
    ack.kind = 0;
    ack.packet_no = static_cast<uint16_t>(packet);
    ack.data_len = static_cast<int32_t>(length);
    deliver(&ack);
    return 0;
}

}  // namespace

extern "C" int32_t recorder_at_audrec_cmd(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        return -1;
    }
    RecorderSim& s = sim();
    std::lock_guard<std::mutex> lock(s.mu);
    if (pIn->m_type == NL_TYPE_TEST) {
        answer(pOut, "\r\n^AUDREC: (0-2),(file)\r\n\r\nOK\r\n");
        return 0;
    }
    if (pIn->m_type == NL_TYPE_QUERY) {
        if (s.activity == Activity::Idle) {
            answer(pOut, "\r\n^AUDREC: 0\r\n\r\nOK\r\n");
        } else {
            (void)snprintf(pOut->m_buffer, sizeof pOut->m_buffer,
                           "\r\n^AUDREC: %d,\"%s\"\r\n\r\nOK\r\n",
                           s.activity == Activity::Recording ? 1 : 2, s.file.c_str());
        }
        return 0;
    }
    uint32_t op = 0;
    if (!number_of(para(pIn, 0), &op)) {
        return -1;
    }
    if (op == kOpStop) {
        if (s.activity != Activity::Idle) {
            s.stop = true;
            s.cv.notify_all();
        }
        answer(pOut, AT_TEXT_OK);
        return 0;
    }
    if (op != kOpRecord && op != kOpPlay) {
        return -1;
    }
    if (s.activity != Activity::Idle) {
        return -1;  // the running one ends with its own report
    }
    const std::string name(para(pIn, 1));
    // A start that fails still ends with a report, so the audio path the
    // daemon took for it is given back.
    if (pIn->m_para_count != 2 || !valid_name(name) || start(s, op, name) != 0) {
        // A RAM recording that never started reports the RAM file as it is,
        // which also ends the daemon's note of a RAM recording in progress.
        const long ram = op == kOpRecord && name == "RAM" ? file_size(name) : -1;
        raise_audend(
            name, op, kEndFailed,
            op == kOpRecord && name == "RAM" ? static_cast<int32_t>(ram < 0 ? 0 : ram) : -1);
        return -1;
    }
    answer(pOut, AT_TEXT_OK);
    return 0;
}

extern "C" int32_t recorder_at_reccfg_cmd(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        return -1;
    }
    RecorderSim& s = sim();
    std::lock_guard<std::mutex> lock(s.mu);
    if (pIn->m_type == NL_TYPE_TEST) {
        answer(pOut, "\r\n^RECCFG: (0,1),(0-300)\r\n\r\nOK\r\n");
        return 0;
    }
    if (pIn->m_type == NL_TYPE_QUERY) {
        (void)snprintf(pOut->m_buffer, sizeof pOut->m_buffer,
                       "\r\n^RECCFG: 0,%u\r\n^RECCFG: 1,%u\r\n\r\nOK\r\n", s.max_seconds, s.volume);
        return 0;
    }
    uint32_t type = 0;
    uint32_t value = 0;
    if (pIn->m_para_count != 2 || !number_of(para(pIn, 0), &type) ||
        !number_of(para(pIn, 1), &value)) {
        return -1;
    }
    if (type == 0 && value >= 1 && value <= kMaxRecordSeconds) {
        s.max_seconds = value;
    } else if (type == 1 && value <= kMaxVolume) {
        s.volume = value;
    } else {
        return -1;
    }
    answer(pOut, AT_TEXT_OK);
    return 0;
}

extern "C" int32_t recorder_at_fileio_cmd(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        return -1;
    }
    RecorderSim& s = sim();
    if (pIn->m_type == NL_TYPE_TEST) {
        answer(pOut,
               "\r\n^FILEIO: (1-3),(file),(offset),(length),(packet),(total),(data)\r\n\r\nOK\r\n");
        return 0;
    }
    uint32_t op = 0;
    const std::string name(para(pIn, 1));
    if (!number_of(para(pIn, 0), &op) || !valid_name(name)) {
        return -1;
    }
    {
        // Files in use by a recording or playback stay as they are.
        std::lock_guard<std::mutex> lock(s.mu);
        if ((s.activity != Activity::Idle && s.file == name) ||
            (name == "RAM" && g_IsRamRecordInProgress != 0)) {
            return -1;
        }
    }
    int32_t rc = -1;
    switch (op) {
        case kFileRead:
            rc = read_file(name, pIn);
            break;
        case kFileWrite:
            rc = write_file(name, pIn);
            break;
        case kFileDelete:
            rc = unlink(file_path(name).c_str()) == 0 ? 0 : -1;
            break;
        default:
            break;
    }
    if (rc == 0) {
        answer(pOut, AT_TEXT_OK);
    }
    return rc;
}

extern "C" int32_t recorder_at_strip_quotes_out(char* in, char* out, uint16_t length) {
    if (in == nullptr || out == nullptr || length < 2 || in[0] != '"' || in[length - 1] != '"' ||
        memchr(in + 1, '"', length - 2u) != nullptr) {
        return 0;
    }
    memmove(out, in + 1, length - 2u);
    out[length - 2] = '\0';
    return 1;
}

extern "C" int32_t recorder_at_check_file_name(const char* name) {
    return name != nullptr && valid_name(std::string_view(name, strnlen(name, AT_PARA_TEXT_SIZE)))
               ? 1
               : 0;
}

extern "C" int32_t rec_at_util_is_number(const char* text) {
    uint32_t v = 0;
    return text != nullptr &&
                   number_of(std::string_view(text, strnlen(text, AT_PARA_TEXT_SIZE)), &v)
               ? 1
               : 0;
}

extern "C" void recorder_save_ram_size(int32_t size) {
    RecorderSim& s = sim();
    std::lock_guard<std::mutex> lock(s.mu);
    s.ram_size = size;
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_DEBUG, "recorder sim: RAM size %d\n", size);
}

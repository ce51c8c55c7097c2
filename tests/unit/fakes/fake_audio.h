// Recording fakes of the text-to-speech and recorder engines: calls as the engine saw them, answers chosen by a test.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "recorder.h"

namespace fake {

// What an engine entry point answers.
struct EngineAnswer {
    int32_t result = 0;    // -1 is failure
    int32_t retenum = 0;   // written into m_retenum when non-zero
    std::string text = "\r\nOK\r\n";
};

struct Audio {
    std::vector<std::string> calls;  // the engine entry points called, in order
    EngineAnswer tts_exec;
    EngineAnswer tts_cfg;
    EngineAnswer audrec;
    EngineAnswer fileio;

    // Names recorder_at_check_file_name refuses (it also refuses "").
    std::vector<std::string> rejected_names;
    // Every recorder_save_ram_size, in order.
    std::vector<int32_t> saved_ram_sizes;
    // Packets the recorder engine delivers as events 79002 while
    // recorder_at_fileio_cmd runs, through module 80's first callback as the
    // bus's synchronous send would.
    std::vector<RecorderFileData> fileio_events;
    // Runs inside recorder_at_fileio_cmd after the packets, when set.
    std::function<void()> during_fileio;

    void reset() { *this = Audio{}; }
};

Audio& audio();

// Event 79002 payloads as the recorder engine fills them.
inline RecorderFileData read_packet(const std::string& data, uint32_t file_size) {
    RecorderFileData p{};
    p.kind = RECORDER_FILEDATA_READ;
    p.data_len = static_cast<int32_t>(data.size());
    p.file_size = file_size;
    std::memcpy(p.data, data.data(), std::min(data.size(), sizeof p.data));
    return p;
}
inline RecorderFileData ack_packet(uint16_t packet_no, int32_t data_len) {
    RecorderFileData p{};
    p.kind = 0;
    p.packet_no = packet_no;
    p.data_len = data_len;
    return p;
}

}  // namespace fake

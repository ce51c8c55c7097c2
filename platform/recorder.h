// Audio recorder engine: its AT entry points, helpers, RAM file state and the events it raises.
#pragma once

#include <cstddef>
#include <cstdint>

#include "at_record.h"

// Notify module of the recorder adapter and its events. The engine raises
// them to the module's first callback as (pointer, length).
inline constexpr uint32_t NOTIFY_MODULE_RECORDER = 80;
inline constexpr uint32_t RECORDER_EVT_AUDEND = 79000;    // end of a recording or playback
inline constexpr uint32_t RECORDER_EVT_FILEDATA = 79002;  // file data or a write acknowledgement
inline constexpr uint32_t RECORDER_EVT_RING = 79009;      // one ring character

inline constexpr size_t RECORDER_DATA_SIZE = 1541;
inline constexpr size_t RECORDER_FILE_NAME_SIZE = 10;

// Kind of RecorderAudendInfo: the end of a recording into the RAM file.
inline constexpr uint32_t RECORDER_AUDEND_RAM_RECORD = 1;
// Kind of RecorderFileData: read data; any other value is a write acknowledgement.
inline constexpr uint8_t RECORDER_FILEDATA_READ = 1;

extern "C" {
// Payload of event 79000.
struct RecorderAudendInfo {
    uint32_t kind;    // RECORDER_AUDEND_RAM_RECORD for a recording into "RAM"
    uint32_t value1;
    uint32_t value2;
    int32_t value3;   // -1 when absent; the RAM recording's size for kind 1
};

// Payload of event 79002. When data_len is 0, data holds a NUL-terminated
// tag instead: "rec" (file_name names the file) or "ram_size".
// The record is 1562 bytes as the engine lays it out: packed to 2 bytes so
// that no tail padding follows the packet number.
#pragma pack(push, 2)
struct RecorderFileData {
    int32_t data_len;   // number of data characters
    uint32_t file_size;
    char data[RECORDER_DATA_SIZE];
    char file_name[RECORDER_FILE_NAME_SIZE];
    uint8_t kind;       // RECORDER_FILEDATA_READ, else a write acknowledgement
    uint16_t packet_no;
};
#pragma pack(pop)
static_assert(sizeof(RecorderFileData) == 1562);
static_assert(offsetof(RecorderFileData, file_size) == 4);
static_assert(offsetof(RecorderFileData, data) == 8);
static_assert(offsetof(RecorderFileData, file_name) == 1549);
static_assert(offsetof(RecorderFileData, kind) == 1559);
static_assert(offsetof(RecorderFileData, packet_no) == 1560);

// Carry out ^AUDREC, ^RECCFG and ^FILEIO: they write the whole reply text into
// m_buffer and may set m_retenum; -1 is failure. During a ^FILEIO read the
// engine delivers the file's data as events 79002 before it returns.
int32_t recorder_at_audrec_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t recorder_at_reccfg_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t recorder_at_fileio_cmd(AtRequest* pIn, AtResponse* pOut);

// Removes the enclosing double quotes of the length characters at in and
// writes the text between them, NUL-terminated, to out (which may be in).
// 0 for a text that is not enclosed in quotes.
int32_t recorder_at_strip_quotes_out(char* in, char* out, uint16_t length);
// Non-zero for a file name the engine accepts.
int32_t recorder_at_check_file_name(const char* name);
// Non-zero for a decimal number.
int32_t rec_at_util_is_number(const char* text);
// Records the size of the RAM file.
void recorder_save_ram_size(int32_t size);

// 1 while a recording into the RAM file runs. The engine owns it; the
// recorder adapter sets it when it starts such a recording and clears it at
// the recording's end report.
extern int32_t g_IsRamRecordInProgress;
}

static_assert(sizeof(RecorderAudendInfo) == 16);
static_assert(offsetof(RecorderAudendInfo, value3) == 12);
static_assert(offsetof(RecorderFileData, file_size) == 4);
static_assert(offsetof(RecorderFileData, data) == 8);
static_assert(offsetof(RecorderFileData, file_name) == 1549);
static_assert(offsetof(RecorderFileData, kind) == 1559);
static_assert(offsetof(RecorderFileData, packet_no) == 1560);

// Audio recorder commands, the ^FILEIO transfer steps, the recorder's reports and the adapter's state.
#pragma once

#include <cstdint>

#include "at_record.h"

// Result numbers of the recorder commands.
inline constexpr int32_t REC_RET_REFUSED = 195;  // the adapter's own state, or ^RECCFG without parameters
inline constexpr int32_t REC_RET_ERROR = 196;    // invalid parameter, unnumbered engine failure

// ^FILEIO operations (parameter 1).
inline constexpr int32_t FILEIO_OP_READ = 1;
inline constexpr int32_t FILEIO_OP_WRITE = 2;
inline constexpr int32_t FILEIO_OP_DELETE = 3;

// The ^FILEIO transfer state, kept in recorder_fileio.cpp as the file-static
// g_fileio_write_index, g_fileio_ram_target, g_fileio_inprg and
// ram_written_size. Written by commands and read by the file-data events, all
// on the message-loop thread.
struct RecorderFileState {
    int32_t fileio_write_index = -1;  // file a write transfer is filling; -1 when none is open
    int32_t fileio_ram_target = -1;   // 0 during a ^FILEIO engine call on the RAM file, else -1
    uint8_t fileio_inprg = 0;         // 1 during a ^FILEIO engine call
    int32_t ram_written_size = 0;     // bytes the current write transfer has put into the RAM file
};
RecorderFileState recorder_file_state(void);
// Replaces the whole state; {} is the start state.
void recorder_set_file_state(const RecorderFileState& state);

// ^AUDREC, ^RECCFG and ^FILEIO set, query and test.
int32_t at_recorder_audrec_exec(AtRequest* pIn, AtResponse* pOut);
int32_t at_recorder_reccfg_exec(AtRequest* pIn, AtResponse* pOut);
int32_t at_recorder_fileio_exec(AtRequest* pIn, AtResponse* pOut);

// The file index of a name: "RAM" is 0, any other name the number that
// begins at its fourth character (atoi semantics; 0 when there is none).
int32_t recorder_file_index(const char* name);
// Checks parameter i as a file name: non-empty, unquoted in place, accepted
// by the engine. On success *name is the unquoted name inside the field.
bool recorder_take_file_name(AtRequest* pIn, uint32_t i, const char** name);
// True when a ^FILEIO write transfer holds the lock on this file.
bool recorder_file_is_being_written(int32_t index);

// ^FILEIO steps. check_params: parameters 5 and 6 of a read or write and the
// write lock; sets *opened when this request took the lock. -1 with the
// response refused.
int32_t at_recorder_fileio_check_params(AtRequest* pIn, AtResponse* pOut, int32_t operation,
                                        int32_t index, bool* opened);
// After a successful engine call: the lock and RAM size after a delete, the
// RAM size after a write.
void at_recorder_fileio_update_state(int32_t operation, int32_t index);
// After every write: releases the lock when the transfer failed, was
// malformed or is complete. -1 (with the response failed) when parameters 5
// and 6 are not numbers.
int32_t at_recorder_fileio_validate_write_params(AtRequest* pIn, bool opened,
                                                 AtResponse* pOut, int32_t engine_result);

// Start-up: resets the adapter's state and joins the notify bus as module 80.
// 0, or -1 when the registration failed.
extern "C" int32_t at_recorder_init(void);
// First callback of module 80: events 79000, 79009 and 79002 with (info pointer, length).
extern "C" int32_t recorder_event_dispatch(uint32_t event, uintptr_t arg1, uintptr_t arg2);
// Second callback of module 80: serves nothing.
extern "C" int32_t recorder_notify_stub(uint32_t event, uintptr_t arg1, uintptr_t arg2);

// Report builders of the three events; info points to length bytes of payload.
int32_t at_recorder_audend_report(const void* info, uintptr_t length);
int32_t at_recorder_ring_report(const void* info, uintptr_t length);
int32_t recorder_filedata_handle(const void* info, uintptr_t length);

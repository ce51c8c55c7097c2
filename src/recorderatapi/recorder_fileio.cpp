// ^FILEIO: file read, write and delete, with the write lock and the RAM file's size bookkeeping.
#include <algorithm>
#include <cstring>

#include "recorder.h"
#include "recorder_at_handlers.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"
#include "ttsatapi/audio_at_params.h"

using audio_at::para_text;
using audio_at::refuse;

namespace {

// Written by commands and read by the file-data events, all on the
// message-loop thread (the read data of a ^FILEIO call arrives during it).
int32_t g_fileio_write_index = -1;
int32_t g_fileio_ram_target = -1;
uint8_t g_fileio_inprg = 0;
int32_t ram_written_size = 0;

// Parameters 5 and 6: the transfer's position and its total.
constexpr uint32_t kParaDone = 4;
constexpr uint32_t kParaTotal = 5;
constexpr uint32_t kWriteParaCount = 7;

// The engine's number test on parameter i; an entry beyond the count is empty.
bool para_is_number(AtRequest* pIn, uint32_t i) {
    const uint32_t count = std::min(pIn->m_para_count, static_cast<uint32_t>(AT_MAX_PARAS));
    return rec_at_util_is_number(i < count ? audio_at::para_cstr(*pIn, i) : "") != 0;
}

void release_write_lock() { g_fileio_write_index = -1; }

}  // namespace

RecorderFileState recorder_file_state(void) {
    return {g_fileio_write_index, g_fileio_ram_target, g_fileio_inprg, ram_written_size};
}

void recorder_set_file_state(const RecorderFileState& state) {
    g_fileio_write_index = state.fileio_write_index;
    g_fileio_ram_target = state.fileio_ram_target;
    g_fileio_inprg = state.fileio_inprg;
    ram_written_size = state.ram_written_size;
}

bool recorder_file_is_being_written(int32_t index) {
    return g_fileio_write_index != -1 && index == g_fileio_write_index;
}

int32_t at_recorder_fileio_check_params(AtRequest* pIn, AtResponse* pOut, int32_t operation,
                                        int32_t index, bool* opened) {
    *opened = false;
    if (operation != FILEIO_OP_READ && operation != FILEIO_OP_WRITE) {
        return TANDREL_OK;
    }
    if (pIn->m_para_count != 2 && (!para_is_number(pIn, kParaDone) || !para_is_number(pIn, kParaTotal))) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_recorder_fileio_check_params invalid param!\r\n");
        return refuse(pOut, REC_RET_ERROR);
    }
    if (operation == FILEIO_OP_WRITE) {
        // One write transfer at a time: the first write takes the lock, later
        // writes must go to the same file.
        if (g_fileio_write_index == -1) {
            g_fileio_write_index = index;
            *opened = true;
        } else if (g_fileio_write_index != index) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_recorder_fileio_check_params file %d is being written!\r\n",
                          g_fileio_write_index);
            return refuse(pOut, REC_RET_REFUSED);
        }
    }
    return TANDREL_OK;
}

void at_recorder_fileio_update_state(int32_t operation, int32_t index) {
    if (operation == FILEIO_OP_DELETE) {
        if (recorder_file_is_being_written(index)) {
            release_write_lock();
        }
        if (index == 0) {
            recorder_save_ram_size(0);
            ram_written_size = 0;
        }
    } else if (operation == FILEIO_OP_WRITE && g_fileio_write_index == 0) {
        recorder_save_ram_size(ram_written_size);
    }
}

int32_t at_recorder_fileio_validate_write_params(AtRequest* pIn, bool opened, AtResponse* pOut,
                                                 int32_t engine_result) {
    if (!para_is_number(pIn, kParaDone) || !para_is_number(pIn, kParaTotal)) {
        at_set_error(pOut, pOut->m_retenum != 0 ? pOut->m_retenum : REC_RET_ERROR);
        return TANDREL_FAIL;
    }
    const std::string_view done = para_text(*pIn, kParaDone);
    const std::string_view total = para_text(*pIn, kParaTotal);
    if (pIn->m_para_count != kWriteParaCount || done.empty() || total.empty()) {
        if (opened) {
            release_write_lock();
        }
        return TANDREL_OK;
    }
    if (engine_result == -1) {
        if (opened) {
            release_write_lock();
            ram_written_size = 0;
        }
        return TANDREL_OK;
    }
    if (audio_at::atoi_value(done) == audio_at::atoi_value(total)) {
        release_write_lock();
        ram_written_size = 0;
    }
    return TANDREL_OK;
}

int32_t at_recorder_fileio_exec(AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    if (pIn->m_type == NL_TYPE_QUERY) {
        at_set_text(pOut, AT_TEXT_ERROR);
        return TANDREL_OK;
    }

    // A test reaches the engine as operation 0 on no file.
    int32_t operation = 0;
    int32_t index = -1;
    bool ram_file = false;
    bool opened = false;
    if (pIn->m_type == NL_TYPE_SET) {
        if (g_fileio_inprg != 0) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_recorder_fileio_exec fileio is in progress!\r\n");
            return refuse(pOut, REC_RET_REFUSED);
        }
        if (pIn->m_para_count < 2) {
            return refuse(pOut, REC_RET_ERROR);
        }
        if (!para_is_number(pIn, 0)) {
            TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_recorder_fileio_exec invalid operation!\r\n");
            return refuse(pOut, REC_RET_ERROR);
        }
        operation = audio_at::atoi_value(para_text(*pIn, 0));
        const char* name = nullptr;
        if (!recorder_take_file_name(pIn, 1, &name)) {
            return refuse(pOut, REC_RET_ERROR);
        }
        index = recorder_file_index(name);
        ram_file = strcmp(name, "RAM") == 0;
        if (at_recorder_fileio_check_params(pIn, pOut, operation, index, &opened) != TANDREL_OK) {
            return TANDREL_FAIL;
        }
    }

    // The read data of this call arrives as events 79002 before the engine
    // returns; these two tell the data handler what the call is about.
    if (ram_file) {
        g_fileio_ram_target = 0;
    }
    g_fileio_inprg = 1;
    const int32_t result = recorder_at_fileio_cmd(pIn, pOut);
    g_fileio_ram_target = -1;

    audio_at::take_engine_result(pOut, result, REC_RET_ERROR);
    if (result != -1) {
        at_recorder_fileio_update_state(operation, index);
    }
    int32_t ret = TANDREL_OK;
    if (operation == FILEIO_OP_WRITE &&
        at_recorder_fileio_validate_write_params(pIn, opened, pOut, result) != TANDREL_OK) {
        ret = TANDREL_FAIL;
    }
    g_fileio_inprg = 0;
    return ret;
}

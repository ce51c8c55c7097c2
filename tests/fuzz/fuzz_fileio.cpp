// Any bytes as a sequence of ^FILEIO and ^AUDREC requests, with file data delivered during the calls.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fake_audio.h"
#include "fuzz_support.h"
#include "recorder.h"
#include "recorderatapi/recorder_at_handlers.h"
#include "tandrel_core.h"
#include "ttsatapi/audio_perm.h"

namespace {

// One line of input is one request: a control byte, then the parameters
// separated by commas. Control bits: 0-1 operation type, 2 engine fails,
// 3 ^AUDREC instead of ^FILEIO, 4 deliver a data packet during the call,
// 5 usParaLen lies, 6 a parameter count beyond what was typed.
void run_line(const uint8_t* p, size_t n, std::vector<uint8_t>& req_buf,
              std::vector<uint8_t>& rsp_buf) {
    if (n == 0) {
        return;
    }
    const uint8_t ctl = p[0];
    std::memset(req_buf.data(), 0, req_buf.size());
    std::memset(rsp_buf.data(), 0, rsp_buf.size());
    auto* req = reinterpret_cast<AtRequest*>(req_buf.data());
    auto* rsp = reinterpret_cast<AtResponse*>(rsp_buf.data());
    req->m_type = ctl & 3;
    uint32_t count = 0;
    size_t start = 1;
    for (size_t i = 1; i <= n && count < AT_MAX_PARAS; ++i) {
        if (i == n || p[i] == ',') {
            AtCmdParam& para = req->m_para_list[count++];
            const size_t len = i - start;
            // Texts may fill their field without a NUL.
            std::memcpy(para.aucPara, p + start, len < sizeof para.aucPara ? len : sizeof para.aucPara);
            para.usParaLen = static_cast<uint16_t>((ctl & 0x20) != 0 ? 0xFFFF - len : len);
            start = i + 1;
        }
    }
    req->m_para_count = (ctl & 0x40) != 0 ? count + 3 : count;

    fake::audio().fileio = {(ctl & 4) != 0 ? -1 : 0, 0, "\r\nOK\r\n"};
    fake::audio().audrec = fake::audio().fileio;
    fake::audio().fileio_events.clear();
    if ((ctl & 0x10) != 0) {
        fake::audio().fileio_events = {fake::read_packet("0A0B0C", 3), fake::ack_packet(1, 512)};
    }
    if ((ctl & 8) != 0) {
        at_recorder_audrec_exec(req, rsp);
    } else {
        at_recorder_fileio_exec(req, rsp);
    }

    // The call is over: no marker of it is left, and the answer is either an
    // error number without text or a text of its own length.
    const RecorderFileState state = recorder_file_state();
    fuzz::require(state.fileio_inprg == 0 && state.fileio_ram_target == -1);
    fuzz::require(rsp->m_length < sizeof rsp->m_buffer &&
                  rsp->m_length == strnlen(rsp->m_buffer, sizeof rsp->m_buffer));
    fuzz::require(rsp->m_retenum == 0 || rsp->m_length == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fake::platform().reset();
    fake::audio().reset();
    at_recorder_init();
    rec_tts_at_cmd_perm_set(AUDIO_PERM_FREE);
    std::vector<uint8_t> req_buf(FIX_NL_DATA_LENGTH);
    std::vector<uint8_t> rsp_buf(FIX_NL_DATA_LENGTH);
    size_t begin = 0;
    for (size_t i = 0; i <= size; ++i) {
        if (i == size || data[i] == '\n') {
            run_line(data + begin, i - begin, req_buf, rsp_buf);
            begin = i + 1;
        }
    }
    fuzz::require(fake::platform().live_allocs == 0);
    return 0;
}

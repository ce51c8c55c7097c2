// The recorder adapter's notify module and its reports: "^AUDEND", the ring character and "^FILEIO" data.
#include <array>
#include <cstring>
#include <limits>
#include <string_view>

#include "osa.h"
#include "qsp_notify.h"
#include "recorder.h"
#include "recorder_at_handlers.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"
#include "ttsatapi/audio_perm.h"

namespace {

constexpr uint32_t kAudendReportId = 60;
constexpr uint32_t kRingReportId = 0;
constexpr uint32_t kFileDataReportId = 79;
constexpr size_t kAudendTextSize = 129;  // at most 128 characters
constexpr size_t kFileTextSize = 1541;   // at most 1540 characters

// Copies what the engine sent into a record of our own: never more than the
// record, never more than the engine said it sent.
template <typename T>
void take_payload(T* out, const void* info, uintptr_t length) {
    const size_t n = length < sizeof(T) ? static_cast<size_t>(length) : sizeof(T);
    if (n < sizeof(T)) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "recorder event payload of %zu bytes, %zu expected\r\n", n,
                      sizeof(T));
    }
    osa_memcpy_s(out, sizeof(T), info, n);
}

// Sends text, taken up to its first NUL, as a fresh report with this id.
int32_t send_report(const char* text, size_t text_size, uint32_t id) {
    AtReport report({PCUI, id, 0}, TANDREL_TAG, "recorder report osa_malloc failed\r\n");
    if (!report) {
        return TANDREL_FAIL;
    }
    report.send({text, strnlen(text, text_size)});
    return TANDREL_OK;
}

// ram_written_size follows the counts the engine sends; it saturates rather than
// overflowing on nonsense.
int32_t saturated(int64_t v) {
    if (v > std::numeric_limits<int32_t>::max()) {
        return std::numeric_limits<int32_t>::max();
    }
    if (v < std::numeric_limits<int32_t>::min()) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(v);
}

// A text being built in a fixed work buffer: every write is bounded by the
// space left, and fits() says whether everything asked for went in.
class TextBuilder {
public:
    TextBuilder(char* buf, size_t size) : buf_(buf), size_(size) {}
    // Where a bounded format call writes next, and the room it has there
    // (terminating NUL included).
    char* end() { return buf_ + len_; }
    size_t space() const { return size_ - len_; }
    // Takes the result of new_snprintf_s written at end().
    void formatted(int n) {
        if (n < 0) {
            ok_ = false;
            len_ += strnlen(end(), space());
        } else {
            len_ += static_cast<size_t>(n);
        }
    }
    void append(const char* s, size_t n) {
        const size_t left = room();
        const size_t take = n < left ? n : left;
        osa_memcpy_s(end(), space(), s, take);
        len_ += take;
        buf_[len_] = '\0';
        ok_ = ok_ && take == n;
    }
    // Characters that can still be added.
    size_t room() const { return size_ - 1 - len_; }
    bool fits() const { return ok_; }

private:
    char* buf_;
    size_t size_;
    size_t len_ = 0;
    bool ok_ = true;
};

int32_t report_read_data(const RecorderFileData& pkt, size_t data_len) {
    if (data_len == 0) {
        const std::string_view tag(pkt.data, strnlen(pkt.data, sizeof pkt.data));
        if (tag == "ram_size") {
            recorder_save_ram_size(static_cast<int32_t>(pkt.file_size));
            return TANDREL_OK;
        }
        if (tag == "rec") {
            std::array<char, kFileTextSize> text{};
            TextBuilder t(text.data(), text.size());
            t.formatted(new_snprintf_s(t.end(), t.space(), t.room(), "\r\n%s: \"%.*s\",%d\r\n",
                                       "^FILEIO",
                                       static_cast<int>(strnlen(pkt.file_name, sizeof pkt.file_name)),
                                       pkt.file_name, static_cast<int32_t>(pkt.file_size)));
            return send_report(text.data(), text.size(), kFileDataReportId);
        }
    }

    const int32_t bytes = static_cast<int32_t>(data_len / 2);
    // A read of the RAM file tells the size it still holds with each packet.
    RecorderFileState state = recorder_file_state();
    if (state.fileio_ram_target == 0) {
        recorder_save_ram_size(static_cast<int32_t>(pkt.file_size));
        state.ram_written_size = saturated(int64_t{state.ram_written_size} - bytes);
        recorder_set_file_state(state);
    }

    std::array<char, kFileTextSize> text{};
    TextBuilder t(text.data(), text.size());
    t.formatted(new_snprintf_s(t.end(), t.space(), t.room(), "\r\n%s: %d,%d\r\n", "^FILEIO", bytes,
                               static_cast<int32_t>(pkt.file_size)));
    const bool quoted = data_len > 1;
    // A packet is reported whole or not at all: a cut one would carry a
    // count that its data does not match.
    if (!t.fits() || data_len + (quoted ? 2 : 0) > t.room()) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "recorder_filedata_handle data_len %zu does not fit, packet dropped\r\n",
                      data_len);
        return TANDREL_FAIL;
    }
    if (quoted) {
        t.append("\"", 1);
    }
    t.append(pkt.data, data_len);
    if (quoted) {
        t.append("\"", 1);
    }
    return send_report(text.data(), text.size(), kFileDataReportId);
}

int32_t report_write_ack(const RecorderFileData& pkt) {
    // Acknowledgements of a write into RAM count its size, restarting with
    // the first packet.
    RecorderFileState state = recorder_file_state();
    if (state.fileio_write_index == 0) {
        if (pkt.packet_no == 1) {
            state.ram_written_size = 0;
        }
        state.ram_written_size = saturated(int64_t{state.ram_written_size} + pkt.data_len);
        recorder_set_file_state(state);
    }
    std::array<char, kFileTextSize> text{};
    TextBuilder t(text.data(), text.size());
    t.formatted(new_snprintf_s(t.end(), t.space(), t.room(), "\r\n%s: %d,%d", "^FILEIO",
                               static_cast<int32_t>(pkt.packet_no), pkt.data_len));
    t.append("\r\n", 2);
    return send_report(text.data(), text.size(), kFileDataReportId);
}

struct RecorderEvent {
    uint32_t event;
    int32_t (*handle)(const void* info, uintptr_t length);
};

constexpr RecorderEvent kRecorderEvents[] = {
    {RECORDER_EVT_AUDEND, at_recorder_audend_report},
    {RECORDER_EVT_RING, at_recorder_ring_report},
    {RECORDER_EVT_FILEDATA, recorder_filedata_handle},
};

}  // namespace

int32_t at_recorder_audend_report(const void* info, uintptr_t length) {
    if (info == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    // A payload too short for the third value reads it as absent.
    RecorderAudendInfo end{};
    end.value3 = -1;
    take_payload(&end, info, length);

    AtReport report({PCUI, kAudendReportId, 0}, TANDREL_TAG,
                    "at_recorder_audend_report osa_malloc failed\r\n");
    if (!report) {
        return TANDREL_FAIL;
    }
    std::array<char, kAudendTextSize> text{};
    const size_t max_chars = text.size() - 1;
    if (end.value3 == -1) {
        new_snprintf_s(text.data(), text.size(), max_chars, "\r\n%s: %lu,%lu\r\n", "^AUDEND",
                       static_cast<unsigned long>(end.value1),
                       static_cast<unsigned long>(end.value2));
    } else {
        new_snprintf_s(text.data(), text.size(), max_chars, "\r\n%s: %lu,%lu,%ld\r\n", "^AUDEND",
                       static_cast<unsigned long>(end.value1),
                       static_cast<unsigned long>(end.value2), static_cast<long>(end.value3));
        if (end.kind == RECORDER_AUDEND_RAM_RECORD) {
            recorder_save_ram_size(end.value3);
            g_IsRamRecordInProgress = 0;
        }
    }
    report.send(text.data());

    rec_tts_at_cmd_perm_set(AUDIO_PERM_FREE);
    return TANDREL_OK;
}

int32_t at_recorder_ring_report(const void* info, uintptr_t length) {
    if (info == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    const char text[2] = {length > 0 ? *static_cast<const char*>(info) : '\0', '\0'};
    return send_report(text, sizeof text, kRingReportId);
}

int32_t recorder_filedata_handle(const void* info, uintptr_t length) {
    if (info == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "null params!\r\n");
        return TANDREL_FAIL;
    }
    RecorderFileData pkt{};
    take_payload(&pkt, info, length);
    // An acknowledgement reports its numbers whatever they are; read data
    // must fit the record it came in.
    if (pkt.kind != RECORDER_FILEDATA_READ) {
        return report_write_ack(pkt);
    }
    if (pkt.data_len < 0 || static_cast<size_t>(pkt.data_len) > sizeof pkt.data) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "recorder_filedata_handle bad data_len %d, packet dropped\r\n",
                      pkt.data_len);
        return TANDREL_FAIL;
    }
    return report_read_data(pkt, static_cast<size_t>(pkt.data_len));
}

extern "C" int32_t recorder_event_dispatch(uint32_t event, uintptr_t arg1, uintptr_t arg2) {
    for (const RecorderEvent& e : kRecorderEvents) {
        if (e.event == event) {
            return e.handle(reinterpret_cast<const void*>(arg1), arg2);
        }
    }
    return TANDREL_FAIL;
}

extern "C" int32_t recorder_notify_stub(uint32_t, uintptr_t, uintptr_t) { return TANDREL_FAIL; }

int32_t at_recorder_init(void) {
    recorder_set_file_state({});
    if (register_notify_handler(NOTIFY_MODULE_RECORDER, recorder_event_dispatch,
                                recorder_notify_stub) != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_recorder_init register_notify_handler error\r\n");
        return TANDREL_FAIL;
    }
    return TANDREL_OK;
}

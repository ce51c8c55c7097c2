// Any bytes as the update service's state record of event 63000, and as its answer to request 3035.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "update_adapter/fota_reports.h"

namespace {

// Reports are formatted into a 1360-byte work buffer.
void check_reports() {
    fuzz::check_sent(
        [](const AtResponse& r) { return r.m_length <= 1359 && r.m_id == 56 && r.m_retenum == 0; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fake::platform().reset();
    // The record exactly as long as the input, so reads past it are caught.
    std::vector<uint8_t> record(data, data + size);
    update_notify_handler(UPDATE_EVT_STATE, reinterpret_cast<uintptr_t>(record.data()),
                          static_cast<uint32_t>(record.size()));
    check_reports();

    fake::platform().reset();
    fake::platform().on_send_notify = [&record](uint32_t, uint32_t, void* buf, uint32_t len) {
        if (!record.empty()) {
            std::memcpy(buf, record.data(), record.size() < len ? record.size() : len);
        }
        return 0;
    };
    update_event_dispatch(UPDATE_EVT_LAST_STATE, 0, 0);
    check_reports();
    fake::platform().on_send_notify = nullptr;
    return 0;
}

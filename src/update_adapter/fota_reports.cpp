// FOTA state reports: registration on the notify bus and the ^FOTASTATE and ^FOTASMS reports.
#include "update_adapter/fota_reports.h"

#include <cstddef>
#include <cstring>
#include <string_view>

#include "osa.h"
#include "osa_buffer.h"
#include "qsp_notify.h"
#include "tandrel_adapters.h"
#include "tandrel_core.h"
#include "tandrel_trace.h"

namespace {

constexpr char kStateName[] = "^FOTASTATE";
constexpr char kSmsName[] = "^FOTASMS";
constexpr uint32_t kStateWorkSize = sizeof(FotaStateInfo);
constexpr uint32_t kSmsWorkSize = 20;
// Gives the service time to settle its state before it is asked for it.
constexpr uint32_t kLastStatePauseMs = 500;

int field_width(const char* field, size_t size) {
    return static_cast<int>(strnlen(field, size));
}

bool reports_detail(uint32_t state) {
    return state == 13 || state == 20 || state == 80;
}

// The argument words of event 63001 carry two signed 32-bit integers.
int32_t word_as_int(uintptr_t w) {
    return static_cast<int32_t>(static_cast<uint32_t>(w));
}

OsaBuffer work_buffer(uint32_t size) {
    OsaBuffer work(size);
    if (!work) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "FOTA report failed to osa_malloc work buffer\r\n");
    }
    return work;
}

void format_new_version(const OsaBuffer& work, const FotaStateInfo& info) {
    new_snprintf_s(work.as<char>(), work.size(), work.size() - 1, "\r\n%s: 12,%.*s,%d,%.*s\r\n",
                   kStateName, field_width(info.version, sizeof info.version), info.version,
                   static_cast<int32_t>(info.size),
                   field_width(info.description, sizeof info.description), info.description);
}

// Sends the text formatted into work as a report with no command pending.
int32_t send_report(const OsaBuffer& work) {
    AtReport report({PCUI, FOTA_REPORT_ID, 0}, TANDREL_TAG,
                    "FOTA report failed to osa_malloc response\r\n");
    if (!report) {
        return TANDREL_FAIL;
    }
    const std::string_view text(work.as<char>(), strnlen(work.as<char>(), work.size()));
    if (report.send(text) != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "FOTA report not sent: %.*s\r\n",
                      static_cast<int>(text.size()), text.data());
        return TANDREL_FAIL;
    }
    return TANDREL_OK;
}

struct UpdateEvent {
    uint32_t event;
    int32_t (*report)(uintptr_t a1, uintptr_t a2);
};
constexpr UpdateEvent kUpdateEvents[] = {
    {UPDATE_EVT_STATE_PAIR,
     [](uintptr_t a1, uintptr_t a2) {
         return at_update_state_asy_report(word_as_int(a1), word_as_int(a2));
     }},
    {UPDATE_EVT_LAST_STATE,
     [](uintptr_t, uintptr_t) { return at_update_state_get_last_info_report(); }},
    {UPDATE_EVT_SMS_POLICY, [](uintptr_t, uintptr_t) { return at_update_policy_report(); }},
};

// Bytes of the record that the text chosen for a state reads: the state word
// alone, the state and its detail, or everything up to the size for a new
// version.
uint32_t state_text_needs(uint32_t state) {
    if (state == FOTA_STATE_NEW_VERSION) {
        return offsetof(FotaStateInfo, size) + sizeof(FotaStateInfo::size);
    }
    return reports_detail(state) ? sizeof(FotaStateInfo) : sizeof(FotaStateInfo::state);
}

}  // namespace

int32_t at_update_init(void) {
    const int32_t rc =
        register_notify_handler(NOTIFY_MODULE_UPDATE, update_notify_handler, update_event_dispatch);
    if (rc != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_update_init register_notify_handler failed %d\r\n",
                      rc);
        return TANDREL_FAIL;
    }
    return TANDREL_OK;
}

extern "C" int32_t update_notify_handler(uint32_t event, uintptr_t a1, uintptr_t a2) {
    if (event != UPDATE_EVT_STATE) {
        return TANDREL_FAIL;
    }
    return at_update_state_report(reinterpret_cast<const FotaStateInfo*>(a1),
                                  static_cast<uint32_t>(a2));
}

extern "C" int32_t update_event_dispatch(uint32_t event, uintptr_t a1, uintptr_t a2) {
    for (const UpdateEvent& e : kUpdateEvents) {
        if (e.event == event) {
            return e.report(a1, a2);
        }
    }
    return TANDREL_FAIL;
}

int32_t at_update_state_report(const FotaStateInfo* info, uint32_t length) {
    if (info == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_update_state_report null params!\r\n");
        return TANDREL_FAIL;
    }
    // Only the bytes the service handed over are read; a record shorter than
    // what its state's text uses is refused rather than read past its end.
    FotaStateInfo rec{};
    memcpy(&rec, info, length < sizeof rec ? length : sizeof rec);
    if (length < sizeof rec.state || length < state_text_needs(rec.state)) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_update_state_report record of %u bytes\r\n", length);
        return TANDREL_FAIL;
    }
    OsaBuffer work = work_buffer(kStateWorkSize);
    if (!work) {
        return TANDREL_FAIL;
    }
    if (rec.state == FOTA_STATE_NEW_VERSION) {
        format_new_version(work, rec);
    } else if (reports_detail(rec.state)) {
        new_snprintf_s(work.as<char>(), work.size(), work.size() - 1, "\r\n%s: %d,%d\r\n",
                       kStateName, static_cast<int32_t>(rec.state),
                       static_cast<int32_t>(rec.detail));
    } else {
        new_snprintf_s(work.as<char>(), work.size(), work.size() - 1, "\r\n%s: %d\r\n", kStateName,
                       static_cast<int32_t>(rec.state));
    }
    return send_report(work);
}

int32_t at_update_state_asy_report(int32_t a, int32_t b) {
    OsaBuffer work = work_buffer(kStateWorkSize);
    if (!work) {
        return TANDREL_FAIL;
    }
    new_snprintf_s(work.as<char>(), work.size(), work.size() - 1, "\r\n%s: %d,%d\r\n", kStateName,
                   a, b);
    return send_report(work);
}

int32_t at_update_state_get_last_info_report(void) {
    osa_sleep(kLastStatePauseMs);
    OsaBuffer record(sizeof(FotaStateInfo));
    if (!record) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "at_update_state_get_last_info_report failed to osa_malloc\r\n");
        return TANDREL_FAIL;
    }
    const int32_t rc = send_notify(NOTIFY_MODULE_ONLINE_UPDATE, ONLINE_UPDATE_REQ_LAST_STATE, 0,
                                   record.get(), 0, record.size());
    if (rc != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "at_update_state_get_last_info_report send_notify %d\r\n",
                      rc);
        return rc;
    }
    OsaBuffer work = work_buffer(kStateWorkSize);
    if (!work) {
        return TANDREL_FAIL;
    }
    const auto* info = record.as<FotaStateInfo>();
    if (info->state == FOTA_STATE_NEW_VERSION) {
        format_new_version(work, *info);
    } else {
        // Anything but a found version is reported as "no new version".
        new_snprintf_s(work.as<char>(), work.size(), work.size() - 1, "\r\n%s: %d\r\n", kStateName,
                       static_cast<int32_t>(FOTA_STATE_NO_NEW_VERSION));
    }
    return send_report(work);
}

int32_t at_update_policy_report(void) {
    OsaBuffer work = work_buffer(kSmsWorkSize);
    if (!work) {
        return TANDREL_FAIL;
    }
    new_snprintf_s(work.as<char>(), work.size(), work.size() - 1, "\r\n%s\r\n", kSmsName);
    return send_report(work);
}

// GNSS control events of module 58: other processes drive the GNSS through these payloads.
#include "gnss_control_events.h"

#include <cstring>

#include "at_record.h"
#include "gps_adapter/gnss_control.h"
#include "gps_adapter/gnss_reports.h"
#include "gps_adapter/gps_at_handlers.h"
#include "gpsclient.h"
#include "osa.h"
#include "tandrel_trace.h"

// The daemon never posts these events and answers none of them: a failed
// operation shows only as the "$GPERR" it reports itself.

namespace {

constexpr size_t kIdLen = 4;      // vendor and product ids of 58002
constexpr size_t kValueBuf = 10;  // local buffer of each 4-character id

// 58011: the reference time and its uncertainty, in buffers one longer.
constexpr size_t kTimeLen = 22;
constexpr size_t kUncertaintyLen = 3;
// 58012: latitude, longitude and accuracy, 16 characters each.
constexpr size_t kPosTextLen = 16;

// A text payload is read at most this far: no event carries more.
constexpr size_t kMaxTextPayload = FIX_NL_DATA_LENGTH;

constexpr char kNullParams[] = "null params!\r\n";

// The payload, or null after the handler's trace.
const uint8_t* payload_of(uintptr_t a1, const char* null_trace) {
    const auto* p = reinterpret_cast<const uint8_t*>(a1);
    if (p == nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s", null_trace);
    }
    return p;
}

// Events whose payload is one byte, handed on as a zeroed 32-bit word.
struct ByteEvent {
    const char* null_trace;
    int32_t (*operation)(const uint32_t* value);
};

constexpr ByteEvent kNiTimer{"nl_gps_set_timeout_process data is NULL\r\n", GNSS_IOCTRL_Set_Nitime};
constexpr ByteEvent kNiAllow{"nl_gps_set_niallow_process data is NULL\r\n",
                             GNSS_IOCTRL_SET_Ni_Allowed};
constexpr ByteEvent kOperateMode{"nl_gps_set_opermode_process data is NULL\r\n",
                                 GNSS_IOCTRL_Set_Operate_Mode};
constexpr ByteEvent kNmeaLogging{"nl_gps_Set_NMEAlogging_process data is NULL\r\n",
                                 GNSS_IOCTRL_Set_NMEAlogging_Mode};

int32_t byte_event(const ByteEvent& e, uintptr_t a1) {
    const uint8_t* p = payload_of(a1, e.null_trace);
    if (p == nullptr) {
        return TANDREL_FAIL;
    }
    // One byte only: the value is always 0..255.
    const uint32_t value = p[0];
    e.operation(&value);
    return TANDREL_OK;
}

}  // namespace

int32_t nl_gps_getcap_process(uintptr_t a1, uintptr_t /*a2*/) {
    const uint8_t* p = payload_of(a1, "nl_gps_getcap_process data is NULL\r\n");
    if (p == nullptr) {
        return TANDREL_FAIL;
    }
    char vid[kValueBuf] = {};
    char pid[kValueBuf] = {};
    osa_memcpy_s(vid, sizeof vid, p, kIdLen);
    osa_memcpy_s(pid, sizeof pid, p + kIdLen, kIdLen);
    GNSS_IOCTRL_GetInfo(vid, pid);
    return TANDREL_OK;
}

int32_t nl_gps_set_timeout_process(uintptr_t a1, uintptr_t /*a2*/) {
    return byte_event(kNiTimer, a1);
}

int32_t nl_gps_set_niallow_process(uintptr_t a1, uintptr_t /*a2*/) {
    return byte_event(kNiAllow, a1);
}

int32_t nl_gps_set_opermode_process(uintptr_t a1, uintptr_t /*a2*/) {
    return byte_event(kOperateMode, a1);
}

// Byte 0: 1 start, 0 stop, anything else nothing. A start takes the fix type
// from byte 1 and the fix parameter (the interval of type 3) from byte 2.
int32_t nl_gps_Control_fixsession_process(uintptr_t a1, uintptr_t /*a2*/) {
    const uint8_t* p = payload_of(a1, "nl_gps_Control_fixsession_process data is NULL\r\n");
    if (p == nullptr) {
        return TANDREL_FAIL;
    }
    if (p[0] == 1) {
        const uint32_t fix_type = p[1];
        const uint32_t fix_para = p[2];
        GNSS_IOCTRL_Start_Fixsession(&fix_type, &fix_para);
    } else if (p[0] == 0) {
        GNSS_IOCTRL_Stop_Fixsession();
    }
    return TANDREL_OK;
}

int32_t nl_gps_Set_NMEAlogging_process(uintptr_t a1, uintptr_t /*a2*/) {
    return byte_event(kNmeaLogging, a1);
}

int32_t nl_gps_set_gpsresetengine_process(uintptr_t /*a1*/, uintptr_t /*a2*/) {
    TANDREL_TRACE(TRACE_LEVEL_INFO, "nl_gps_set_gpsresetengine_process \r\n");
    IOCTRL_GPS_Reset_Engine();
    return TANDREL_OK;
}

int32_t nl_gps_set_agnssver_process(uintptr_t a1, uintptr_t /*a2*/) {
    const uint8_t* p = payload_of(a1, kNullParams);
    if (p == nullptr) {
        return TANDREL_FAIL;
    }
    IOCTRL_GPS_SetAGNSSVer(p[0]);
    return TANDREL_OK;
}

// The address is the payload's NUL-terminated text; its length goes to the
// client cut to 16 bits.
int32_t nl_gps_set_suplurl_process(uintptr_t a1, uintptr_t /*a2*/) {
    const uint8_t* p = payload_of(a1, kNullParams);
    if (p == nullptr) {
        return TANDREL_FAIL;
    }
    const auto* text = reinterpret_cast<const char*>(p);
    IOCTRL_GPS_SetGNSSAddr(text, static_cast<uint16_t>(strnlen(text, kMaxTextPayload)));
    return TANDREL_OK;
}

int32_t nl_gps_injtime_process(uintptr_t a1, uintptr_t /*a2*/) {
    const uint8_t* p = payload_of(a1, kNullParams);
    if (p == nullptr) {
        return TANDREL_FAIL;
    }
    char time_text[kTimeLen + 1] = {};
    char uncertainty[kUncertaintyLen + 1] = {};
    osa_memcpy_s(time_text, sizeof time_text, p, kTimeLen);
    osa_memcpy_s(uncertainty, sizeof uncertainty, p + kTimeLen, kUncertaintyLen);
    AT_GPS_InjRefTime_ioctl(time_text, uncertainty);
    return TANDREL_OK;
}

int32_t nl_gps_injpos_process(uintptr_t a1, uintptr_t /*a2*/) {
    const uint8_t* p = payload_of(a1, kNullParams);
    if (p == nullptr) {
        return TANDREL_FAIL;
    }
    char latitude[kPosTextLen + 1] = {};
    char longitude[kPosTextLen + 1] = {};
    char accuracy[kPosTextLen + 1] = {};
    osa_memcpy_s(latitude, sizeof latitude, p, kPosTextLen);
    osa_memcpy_s(longitude, sizeof longitude, p + kPosTextLen, kPosTextLen);
    osa_memcpy_s(accuracy, sizeof accuracy, p + 2 * kPosTextLen, kPosTextLen);
    AT_GPS_InjRefLocInfo_ioctl(latitude, longitude, accuracy);
    return TANDREL_OK;
}

int32_t nl_gps_clear_agnss_process(uintptr_t a1, uintptr_t /*a2*/) {
    const uint8_t* p = payload_of(a1, kNullParams);
    if (p == nullptr) {
        return TANDREL_FAIL;
    }
    const uint8_t mode = p[0];
    GNSS_IOCTRL_ClearAgnssData(&mode);
    return TANDREL_OK;
}

// Byte 0: 1 radio on (state 3), 0 radio off; anything else is refused.
int32_t nl_gps_set_gnss_radio_process(uintptr_t a1, uintptr_t /*a2*/) {
    const uint8_t* p = payload_of(a1, kNullParams);
    if (p == nullptr) {
        return TANDREL_FAIL;
    }
    TANDREL_TRACE(TRACE_LEVEL_INFO, "nl_gps_set_gnss_radio_process \r\n");
    if (p[0] > 1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "nl_gps_set_gnss_radio_process radio %u refused\r\n",
                      static_cast<unsigned>(p[0]));
        return TANDREL_FAIL;
    }
    GNSS_IOCTRL_Gnss_Radio(p[0] == 1 ? GPS_RADIO_ON : GPS_RADIO_OFF);
    return TANDREL_OK;
}

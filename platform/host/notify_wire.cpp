// The host notify bus's socket protocol: encoding and strict decoding of event and reply datagrams.
#include "notify_wire.h"

#include <cstring>

#include "ipstack.h"
#include "le_bytes.h"
#include "online_update.h"
#include "recorder.h"
#include "tandrel_core.h"
#include "tts.h"

namespace {
constexpr uint8_t kSlotFirst = 0;
constexpr uint8_t kSlotSecond = 1;
constexpr uint8_t kLayoutLenPtr = 0;
constexpr uint8_t kLayoutPtrLen = 1;
constexpr uint8_t kLayoutWords = 2;

// The daemon's events, by ranges of event numbers: each handler reads its
// arguments as the module's own senders fill them.
struct ShapeRow {
    uint32_t module;
    uint32_t first_event;
    uint32_t last_event;
    NotifyEventShape shape;
};
constexpr NotifyEventShape kRecordFirst{NotifySlot::First, NotifyLayout::PtrLen};
constexpr NotifyEventShape kRecordSecond{NotifySlot::Second, NotifyLayout::PtrLen};
constexpr NotifyEventShape kWordsSecond{NotifySlot::Second, NotifyLayout::Words};
constexpr ShapeRow kShapes[] = {
    {NOTIFY_MODULE_TANDREL, TANDREL_EVT_UNSOLICITED, TANDREL_EVT_UNSOLICITED, kRecordFirst},
    {NOTIFY_MODULE_TANDREL, TANDREL_EVT_AT_REQUEST, TANDREL_EVT_AT_REQUEST,
     {NotifySlot::Second, NotifyLayout::LenPtr}},
    {NOTIFY_MODULE_TANDREL, 58002, 58013, kRecordSecond},  // GNSS control events
    {NOTIFY_MODULE_TANDREL, TANDREL_EVT_HBE_TIMER, TANDREL_EVT_HBE_TIMER, kWordsSecond},
    {NOTIFY_MODULE_TANDREL, 58015, 58015, kRecordSecond},  // GNSS radio
    {NOTIFY_MODULE_IPSTACK, IPSTACK_EVT_DATA, IPSTACK_EVT_LATE_RESULT, kRecordFirst},
    {NOTIFY_MODULE_UPDATE, UPDATE_EVT_STATE, UPDATE_EVT_STATE, kRecordFirst},
    {NOTIFY_MODULE_UPDATE, UPDATE_EVT_STATE_PAIR, UPDATE_EVT_SMS_POLICY, kWordsSecond},
    {NOTIFY_MODULE_TTS, TTS_EVT_AUDEND, TTS_EVT_AUDEND, kRecordFirst},
    {NOTIFY_MODULE_RECORDER, RECORDER_EVT_AUDEND, RECORDER_EVT_AUDEND, kRecordFirst},
    {NOTIFY_MODULE_RECORDER, RECORDER_EVT_FILEDATA, RECORDER_EVT_FILEDATA, kRecordFirst},
    {NOTIFY_MODULE_RECORDER, RECORDER_EVT_RING, RECORDER_EVT_RING, kRecordFirst},
};

}  // namespace

const char* notify_wire_status_text(NotifyWireStatus s) {
    switch (s) {
        case NotifyWireStatus::Queued: return "queued";
        case NotifyWireStatus::Malformed: return "malformed event";
        case NotifyWireStatus::UnknownModule: return "no module registered for that callback";
        case NotifyWireStatus::TooLarge: return "payload too large";
        case NotifyWireStatus::NotPermitted: return "sender not permitted";
        case NotifyWireStatus::Failed: return "bus could not queue the event";
        case NotifyWireStatus::WrongLayout: return "the daemon takes this event in another layout";
    }
    return "unknown status";
}

uint32_t notify_wire_encode(const NotifyEvent& e, uint8_t* out, uint32_t out_size) {
    const bool words = e.layout == NotifyLayout::Words;
    const uint32_t len = words || e.payload == nullptr ? 0 : e.len;
    if (out == nullptr || len > NOTIFY_WIRE_MAX_PAYLOAD || (words && e.payload != nullptr) ||
        out_size < NOTIFY_WIRE_HEADER_SIZE + len) {
        return 0;
    }
    memset(out, 0, NOTIFY_WIRE_HEADER_SIZE);
    le_put_u32(out + 0, NOTIFY_WIRE_MAGIC);
    le_put_u32(out + 4, e.module);
    le_put_u32(out + 8, e.event);
    out[12] = e.slot == NotifySlot::First ? kSlotFirst : kSlotSecond;
    out[13] = words ? kLayoutWords : (e.layout == NotifyLayout::PtrLen ? kLayoutPtrLen : kLayoutLenPtr);
    if (words) {
        le_put_u64(out + 16, e.w1);
        le_put_u64(out + 24, e.w2);
    }
    if (len != 0) {
        memcpy(out + NOTIFY_WIRE_HEADER_SIZE, e.payload, len);
    }
    return NOTIFY_WIRE_HEADER_SIZE + len;
}

NotifyWireStatus notify_wire_decode(const uint8_t* in, uint32_t n, NotifyEvent* e) {
    if (in == nullptr || n < NOTIFY_WIRE_HEADER_SIZE || le_get_u32(in) != NOTIFY_WIRE_MAGIC) {
        return NotifyWireStatus::Malformed;
    }
    const uint8_t slot = in[12];
    const uint8_t layout = in[13];
    const uint64_t w1 = le_get_u64(in + 16);
    const uint64_t w2 = le_get_u64(in + 24);
    const uint32_t len = n - NOTIFY_WIRE_HEADER_SIZE;
    if (slot > kSlotSecond || layout > kLayoutWords || le_get_u16(in + 14) != 0) {
        return NotifyWireStatus::Malformed;
    }
    if (len > NOTIFY_WIRE_MAX_PAYLOAD) {
        return NotifyWireStatus::TooLarge;
    }
    // Words carry no payload, and a payload layout carries no words.
    if (layout == kLayoutWords ? len != 0 : (w1 != 0 || w2 != 0)) {
        return NotifyWireStatus::Malformed;
    }
    // Words that do not fit this machine's argument words.
    if (static_cast<uintptr_t>(w1) != w1 || static_cast<uintptr_t>(w2) != w2) {
        return NotifyWireStatus::Malformed;
    }
    *e = NotifyEvent{};
    e->module = le_get_u32(in + 4);
    e->event = le_get_u32(in + 8);
    e->slot = slot == kSlotFirst ? NotifySlot::First : NotifySlot::Second;
    e->layout = layout == kLayoutWords    ? NotifyLayout::Words
                : layout == kLayoutPtrLen ? NotifyLayout::PtrLen
                                          : NotifyLayout::LenPtr;
    e->w1 = static_cast<uintptr_t>(w1);
    e->w2 = static_cast<uintptr_t>(w2);
    e->payload = layout == kLayoutWords ? nullptr : in + NOTIFY_WIRE_HEADER_SIZE;
    e->len = len;
    return NotifyWireStatus::Queued;
}

bool notify_event_shape(uint32_t module, uint32_t event, NotifyEventShape* shape) {
    for (const ShapeRow& r : kShapes) {
        if (r.module == module && event >= r.first_event && event <= r.last_event) {
            *shape = r.shape;
            return true;
        }
    }
    return false;
}

NotifyWireStatus notify_wire_accept(const uint8_t* in, uint32_t n, NotifyEvent* e) {
    const NotifyWireStatus s = notify_wire_decode(in, n, e);
    NotifyEventShape shape{};
    if (s == NotifyWireStatus::Queued && notify_event_shape(e->module, e->event, &shape) &&
        shape.layout != e->layout) {
        return NotifyWireStatus::WrongLayout;
    }
    return s;
}

void notify_wire_encode_reply(NotifyWireStatus s, uint8_t out[NOTIFY_WIRE_REPLY_SIZE]) {
    le_put_u32(out, NOTIFY_WIRE_REPLY_MAGIC);
    le_put_u32(out + 4, static_cast<uint32_t>(s));
}

bool notify_wire_decode_reply(const uint8_t* in, uint32_t n, NotifyWireStatus* s) {
    if (in == nullptr || n != NOTIFY_WIRE_REPLY_SIZE || le_get_u32(in) != NOTIFY_WIRE_REPLY_MAGIC) {
        return false;
    }
    const uint32_t v = le_get_u32(in + 4);
    if (v > static_cast<uint32_t>(NotifyWireStatus::WrongLayout)) {
        return false;
    }
    *s = static_cast<NotifyWireStatus>(v);
    return true;
}

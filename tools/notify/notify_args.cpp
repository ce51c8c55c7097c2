// tandrel-notify's command line: options, numbers and payloads, checked before anything is sent.
#include "notify_args.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "notify_wire.h"

namespace {

// Decimal or 0x-prefixed hexadecimal, whole text, at most max.
bool parse_number(const char* text, uint64_t max, uint64_t* out) {
    if (text == nullptr || text[0] == '\0' || text[0] == '-' || text[0] == '+') {
        return false;
    }
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    errno = 0;
    char* end = nullptr;
    const unsigned long long v = strtoull(hex ? text + 2 : text, &end, hex ? 16 : 10);
    if (errno != 0 || end == (hex ? text + 2 : text) || *end != '\0' || v > max) {
        return false;
    }
    *out = v;
    return true;
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Pairs of hex digits; blanks, ':' and '-' between pairs are allowed.
bool parse_hex(const char* text, std::vector<uint8_t>* out) {
    out->clear();
    for (const char* p = text; *p != '\0';) {
        if (*p == ' ' || *p == ':' || *p == '-') {
            ++p;
            continue;
        }
        const int hi = hex_digit(p[0]);
        const int lo = hi < 0 ? -1 : hex_digit(p[1]);
        if (lo < 0) {
            return false;
        }
        out->push_back(static_cast<uint8_t>(hi * 16 + lo));
        p += 2;
    }
    return true;
}

}  // namespace

const char* notify_usage(void) {
    return "usage: tandrel-notify [--run-dir DIR] [--first|--second] [--len-ptr|--ptr-len]\n"
           "                      MODULE EVENT [W1 [W2] | --hex BYTES | --text TEXT]\n"
           "Raises one event on the notify bus of the daemon running in DIR\n"
           "(default: $TANDREL_RUN_DIR, else ./run).\n"
           "  --first, --second   callback of the module that gets it (default: the one\n"
           "                      the daemon takes the event with, else second)\n"
           "  W1 W2               two argument words (default 0), no payload\n"
           "  --hex BYTES         payload in hex, e.g. 01:03:05 or 010305\n"
           "  --text TEXT         payload: the bytes of TEXT (a zero byte follows it)\n"
           "  --len-ptr           payload passed as (length, pointer)\n"
           "  --ptr-len           payload passed as (pointer, length)\n"
           "                      (default: the daemon's layout for the event, else --len-ptr)\n"
           "Numbers are decimal or 0x-hexadecimal. Exit status: 0 queued, 1 refused\n"
           "by the bus, 2 usage error, 3 bus not reachable.\n";
}

bool notify_parse_args(int argc, const char* const* argv, NotifyArgs* out, std::string* error) {
    *out = NotifyArgs{};
    const char* slot_opt = nullptr;
    const char* layout_opt = nullptr;
    bool have_payload = false;
    std::vector<const char*> positional;

    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        const bool takes_value =
            strcmp(a, "--run-dir") == 0 || strcmp(a, "--hex") == 0 || strcmp(a, "--text") == 0;
        if (takes_value && i + 1 >= argc) {
            *error = std::string(a) + " needs a value";
            return false;
        }
        if (strcmp(a, "--run-dir") == 0) {
            out->run_dir = argv[++i];
        } else if (strcmp(a, "--first") == 0 || strcmp(a, "--second") == 0) {
            slot_opt = a;
        } else if (strcmp(a, "--len-ptr") == 0 || strcmp(a, "--ptr-len") == 0) {
            layout_opt = a;
        } else if (strcmp(a, "--hex") == 0 || strcmp(a, "--text") == 0) {
            if (have_payload) {
                *error = "only one payload (--hex or --text) may be given";
                return false;
            }
            have_payload = true;
            const char* v = argv[++i];
            if (a[2] == 'h') {
                if (!parse_hex(v, &out->payload)) {
                    *error = std::string("--hex: not hex byte pairs: ") + v;
                    return false;
                }
            } else {
                out->payload.assign(v, v + strlen(v));
            }
        } else if (a[0] == '-' && a[1] == '-') {
            *error = std::string("unknown option ") + a;
            return false;
        } else {
            positional.push_back(a);
        }
    }

    if (positional.size() < 2) {
        *error = "MODULE and EVENT are required";
        return false;
    }
    uint64_t module = 0;
    uint64_t event = 0;
    if (!parse_number(positional[0], UINT32_MAX, &module) || !parse_number(positional[1], UINT32_MAX, &event)) {
        *error = "MODULE and EVENT must be numbers from 0 to 4294967295";
        return false;
    }
    out->event.module = static_cast<uint32_t>(module);
    out->event.event = static_cast<uint32_t>(event);
    // An event of the daemon's goes, unless told otherwise, to the callback
    // and in the layout the daemon takes it with.
    NotifyEventShape shape{NotifySlot::Second, NotifyLayout::LenPtr};
    (void)notify_event_shape(out->event.module, out->event.event, &shape);
    out->event.slot = slot_opt == nullptr       ? shape.slot
                      : slot_opt[2] == 'f' ? NotifySlot::First
                                           : NotifySlot::Second;

    if (have_payload) {
        if (positional.size() > 2) {
            *error = "argument words cannot go with a payload";
            return false;
        }
        if (out->payload.size() > NOTIFY_WIRE_MAX_PAYLOAD) {
            *error = "payload above " + std::to_string(NOTIFY_WIRE_MAX_PAYLOAD) + " bytes";
            return false;
        }
        if (layout_opt != nullptr) {
            out->event.layout =
                strcmp(layout_opt, "--ptr-len") == 0 ? NotifyLayout::PtrLen : NotifyLayout::LenPtr;
        } else {
            out->event.layout =
                shape.layout != NotifyLayout::Words ? shape.layout : NotifyLayout::LenPtr;
        }
        out->event.len = static_cast<uint32_t>(out->payload.size());
        return true;
    }
    if (layout_opt != nullptr) {
        *error = std::string(layout_opt) + " needs a payload (--hex or --text)";
        return false;
    }
    if (positional.size() > 4) {
        *error = "at most two argument words";
        return false;
    }
    uint64_t w[2] = {0, 0};
    for (size_t k = 2; k < positional.size(); ++k) {
        if (!parse_number(positional[k], UINTPTR_MAX, &w[k - 2])) {
            *error = std::string("argument word is not a number: ") + positional[k];
            return false;
        }
    }
    out->event.layout = NotifyLayout::Words;
    out->event.w1 = static_cast<uintptr_t>(w[0]);
    out->event.w2 = static_cast<uintptr_t>(w[1]);
    return true;
}

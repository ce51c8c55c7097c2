// The command-table registration: record walk with every length checked against the message.
#include "registration.h"

#include <cstring>

#include "at_record.h"
#include "nl_device.h"

namespace atsim {

namespace {

constexpr size_t kHeader = NL_MSG_HEADER_SIZE + sizeof(NlDeviceEvent);  // 28
constexpr size_t kWords = 11;                                            // words 1 to 11
constexpr size_t kMinTableSpace = FIX_NL_DATA_LENGTH;  // the message is never shorter

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool same_ignoring_case(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (lower(a[i]) != lower(b[i])) {
            return false;
        }
    }
    return true;
}

bool printable(std::string_view s) {
    for (char c : s) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x21 || u > 0x7e) {
            return false;
        }
    }
    return true;
}

// A NUL-terminated text of exactly len bytes (NUL included) at off, with no
// NUL before its end.
bool terminated_text(std::span<const uint8_t> t, size_t off, uint32_t len, std::string& out) {
    if (len == 0 || t[off + len - 1] != 0) {
        return false;
    }
    out.assign(reinterpret_cast<const char*>(&t[off]), len - 1);
    return out.find('\0') == std::string::npos;
}

// One record at off within the table t; on success advances off.
bool parse_record(std::span<const uint8_t> t, size_t& off, CommandRow& row, std::string* why) {
    const size_t left = t.size() - off;
    if (left < kWords * 4 + 4) {
        *why = "record runs past the table length";
        return false;
    }
    uint32_t w[kWords];
    for (size_t i = 0; i < kWords; ++i) {
        w[i] = le32(t, off + 4 * i);
    }
    if (w[0] != 0) {
        *why = "index word is " + std::to_string(w[0]) + ", not 0";
        return false;
    }
    for (size_t op = 0; op < 4; ++op) {
        row.handler[op] = w[1 + 2 * op] != 0;
        row.timeout_ms[op] = w[2 + 2 * op];
    }
    row.err_code = w[9];
    row.flag = w[10];

    size_t p = off + kWords * 4;
    const uint32_t name_len = le32(t, p);
    p += 4;
    if (name_len < 3 || name_len > AT_CMD_NAME_SIZE) {
        *why = "name length " + std::to_string(name_len) + " out of 3 to " +
               std::to_string(AT_CMD_NAME_SIZE);
        return false;
    }
    // name, its 0 byte, then the 4-byte template length
    if (t.size() - p < size_t{name_len} + 1 + 4) {
        *why = "name runs past the table length";
        return false;
    }
    if (!terminated_text(t, p, name_len, row.name)) {
        *why = "name is not terminated at its length";
        return false;
    }
    if (row.name[0] != '^' || !printable(row.name)) {
        *why = "name \"" + row.name + "\" is not a '^' command name";
        return false;
    }
    p += name_len;
    if (t[p] != 0) {
        *why = row.name + ": byte after the name is not 0";
        return false;
    }
    ++p;
    const uint32_t param_len = le32(t, p);
    p += 4;
    if (t.size() - p < size_t{param_len} + 1) {
        *why = row.name + ": template runs past the table length";
        return false;
    }
    if (param_len > 0) {
        if (!terminated_text(t, p, param_len, row.params_text)) {
            *why = row.name + ": template is not terminated at its length";
            return false;
        }
        std::string tmpl_why;
        row.params = parse_template(row.params_text, &tmpl_why);
        if (!row.params) {
            *why = row.name + ": template \"" + row.params_text + "\" does not parse (" +
                   tmpl_why + ")";
            return false;
        }
        p += param_len;
    }
    if (t[p] != 0) {
        *why = row.name + ": byte after the template is not 0";
        return false;
    }
    off = p + 1;
    return true;
}

}  // namespace

const CommandRow* Registration::find(std::string_view name) const {
    for (const CommandRow& r : rows) {
        if (same_ignoring_case(r.name, name)) {
            return &r;
        }
    }
    return nullptr;
}

std::optional<Registration> parse_registration(std::span<const uint8_t> msg,
                                               const RegistrationRules& rules, std::string* why) {
    std::string dummy;
    if (why == nullptr) {
        why = &dummy;
    }
    if (msg.size() < kHeader) {
        *why = "message of " + std::to_string(msg.size()) + " bytes is shorter than its headers";
        return std::nullopt;
    }
    const uint32_t nlmsg_len = le32(msg, 0);
    const uint16_t type = le16(msg, 4);
    const uint32_t device_id = le32(msg, 16);
    const uint32_t len = le32(msg, 24);
    if (type != NL_MSG_TYPE_REGISTER) {
        *why = "message type " + std::to_string(type) + ", not " +
               std::to_string(NL_MSG_TYPE_REGISTER);
        return std::nullopt;
    }
    if (nlmsg_len != msg.size()) {
        *why = "nlmsg_len " + std::to_string(nlmsg_len) + " but " + std::to_string(msg.size()) +
               " bytes arrived";
        return std::nullopt;
    }
    if (device_id != NL_DEVICE_AT) {
        *why = "device_id " + std::to_string(device_id) + ", not 1";
        return std::nullopt;
    }
    if (rules.table_len && len != *rules.table_len) {
        *why = "table length " + std::to_string(len) + ", expected " +
               std::to_string(*rules.table_len);
        return std::nullopt;
    }
    const size_t space = len > kMinTableSpace ? len : kMinTableSpace;
    if (msg.size() != kHeader + space) {
        *why = "message of " + std::to_string(msg.size()) + " bytes for a table of " +
               std::to_string(len) + " bytes, expected " + std::to_string(kHeader + space);
        return std::nullopt;
    }

    Registration reg;
    reg.sender_pid = le32(msg, 12);
    const std::span<const uint8_t> table = msg.subspan(kHeader, len);
    size_t off = 0;
    while (off < table.size()) {
        CommandRow row;
        std::string rec_why;
        if (!parse_record(table, off, row, &rec_why)) {
            *why = "record " + std::to_string(reg.rows.size() + 1) + ": " + rec_why;
            return std::nullopt;
        }
        if (reg.find(row.name) != nullptr) {
            *why = "record " + std::to_string(reg.rows.size() + 1) + ": " + row.name +
                   " registered twice";
            return std::nullopt;
        }
        reg.rows.push_back(std::move(row));
    }
    if (rules.rows && reg.rows.size() != *rules.rows) {
        *why = std::to_string(reg.rows.size()) + " records, expected " +
               std::to_string(*rules.rows);
        return std::nullopt;
    }
    for (size_t i = kHeader + len; i < msg.size(); ++i) {
        if (msg[i] != 0) {
            *why = "non-zero byte at offset " + std::to_string(i) + " after the table";
            return std::nullopt;
        }
    }
    return reg;
}

}  // namespace atsim

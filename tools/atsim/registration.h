// The command-table registration the daemon sends at start: parsed and checked.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "at_template.h"

namespace atsim {

// One registered command as the driver needs it.
struct CommandRow {
    std::string name;                    // as registered, with its "^"
    std::array<bool, 4> handler{};       // set, query, test, abort present
    std::array<uint32_t, 4> timeout_ms{};
    uint32_t err_code = 0;
    uint32_t flag = 0;
    std::optional<Template> params;      // none: the command has no template
    std::string params_text;
};

struct Registration {
    uint32_t sender_pid = 0;  // nlmsg_pid of the message
    std::vector<CommandRow> rows;

    // The row whose name equals name ignoring letter case, or null.
    const CommandRow* find(std::string_view name) const;
};

// What a well-formed registration must announce; a check is skipped when
// its value is absent.
struct RegistrationRules {
    std::optional<size_t> rows;
    std::optional<uint32_t> table_len;
};

// Parses one datagram (netlink header included). On failure returns
// nothing and says why in *why.
std::optional<Registration> parse_registration(std::span<const uint8_t> msg,
                                               const RegistrationRules& rules, std::string* why);

// Reads a little-endian u32 at off; the caller has checked the bounds.
inline uint32_t le32(std::span<const uint8_t> b, size_t off) {
    return static_cast<uint32_t>(b[off]) | static_cast<uint32_t>(b[off + 1]) << 8 |
           static_cast<uint32_t>(b[off + 2]) << 16 | static_cast<uint32_t>(b[off + 3]) << 24;
}
inline uint16_t le16(std::span<const uint8_t> b, size_t off) {
    return static_cast<uint16_t>(b[off] | b[off + 1] << 8);
}

}  // namespace atsim

// The module's AT ports offered as terminals: name in the run directory and port index.
#pragma once

#include <cstdint>
#include <string_view>

namespace atsim {

struct PortInfo {
    const char* name;
    uint32_t index;
};

inline constexpr PortInfo kPorts[] = {
    {"pcui", 0},   {"port3", 3},  {"port5", 5},  {"port6", 6},  {"ipch5", 49},   {"ipch6", 50},
    {"ipch7", 51}, {"ipch8", 52}, {"gnss", 54},  {"nmea", 55},  {"ipother", 56},
};

inline const PortInfo* port_by_name(std::string_view name) {
    for (const PortInfo& p : kPorts) {
        if (name == p.name) {
            return &p;
        }
    }
    return nullptr;
}

inline const PortInfo* port_by_index(uint32_t index) {
    for (const PortInfo& p : kPorts) {
        if (index == p.index) {
            return &p;
        }
    }
    return nullptr;
}

}  // namespace atsim

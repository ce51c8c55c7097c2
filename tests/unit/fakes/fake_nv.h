// Fake of the NV item store: items kept in memory.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

namespace fake {

struct Nv {
    std::map<uint32_t, std::vector<uint8_t>> items;  // an item never written reads as zeros
    void reset() { *this = Nv{}; }
};

Nv& nv();

}  // namespace fake

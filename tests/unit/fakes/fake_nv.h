// Recording fake of the NV item store: items kept in memory, every read and write listed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace fake {

struct NvCall {
    bool write;
    uint32_t item;
    uint32_t size;
    std::vector<uint8_t> bytes;  // a write: the bytes written
};

struct Nv {
    std::map<uint32_t, std::vector<uint8_t>> items;  // an item never written reads as zeros
    std::vector<NvCall> calls;
    int32_t read_result = 0;   // non-zero: reads fail with it and leave the buffer
    int32_t write_result = 0;  // non-zero: writes fail with it and store nothing

    void reset() { *this = Nv{}; }
    size_t writes() const;
};

Nv& nv();

}  // namespace fake

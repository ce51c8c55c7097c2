// Builds AtRequest bytes as the kernel AT driver lays them out, field by field.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace fake {

class RequestBytes {
public:
    explicit RequestBytes(const std::string& cmd, uint32_t type = 0, uint32_t port = 0)
        : b_(10240, 0) {
        u32(0, port);
        u32(4, 0x1234);
        u32(8, type);
        std::memcpy(&b_[13], cmd.data(), std::min<size_t>(cmd.size(), 67));
    }
    RequestBytes& u32(size_t off, uint32_t v) {
        for (int i = 0; i < 4; ++i) {
            b_[off + i] = static_cast<uint8_t>(v >> (8 * i));
        }
        return *this;
    }
    RequestBytes& count(uint32_t n) { return u32(80, n); }
    // Appends a numeric parameter (usParaLen 0).
    RequestBytes& num(uint32_t v) {
        const size_t base = 84 + 568 * next_;
        u32(base, v);
        return count(++next_);
    }
    // Appends a text parameter; usParaLen is the text's length unless given.
    RequestBytes& text(const std::string& s, int para_len = -1) {
        const size_t base = 84 + 568 * next_;
        std::memcpy(&b_[base + 4], s.data(), std::min<size_t>(s.size(), 561));
        const uint16_t len = static_cast<uint16_t>(para_len < 0 ? s.size() : para_len);
        b_[base + 566] = static_cast<uint8_t>(len);
        b_[base + 567] = static_cast<uint8_t>(len >> 8);
        return count(++next_);
    }
    uint8_t* data() { return b_.data(); }
    uint32_t size() const { return static_cast<uint32_t>(b_.size()); }

private:
    std::vector<uint8_t> b_;
    uint32_t next_ = 0;
};

}  // namespace fake

// Recording fake of the NV item store.
#include "fake_nv.h"

#include <algorithm>
#include <cstring>

#include "nv_item.h"

namespace fake {

Nv& nv() {
    static Nv n;
    return n;
}

size_t Nv::writes() const {
    return static_cast<size_t>(
        std::count_if(calls.begin(), calls.end(), [](const NvCall& c) { return c.write; }));
}

}  // namespace fake

extern "C" int32_t NV_Read(uint32_t item, void* data, uint32_t size) {
    fake::Nv& n = fake::nv();
    n.calls.push_back({false, item, size, {}});
    if (n.read_result != 0) {
        return n.read_result;
    }
    std::vector<uint8_t> v = n.items[item];
    v.resize(size, 0);
    std::memcpy(data, v.data(), size);
    return 0;
}

extern "C" int32_t NV_Write(uint32_t item, const void* data, uint32_t size) {
    fake::Nv& n = fake::nv();
    const auto* b = static_cast<const uint8_t*>(data);
    n.calls.push_back({true, item, size, std::vector<uint8_t>(b, b + size)});
    if (n.write_result != 0) {
        return n.write_result;
    }
    n.items[item].assign(b, b + size);
    return 0;
}

// Fake of the NV item store.
#include "fake_nv.h"

#include <cstring>

#include "nv_item.h"

namespace fake {

Nv& nv() {
    static Nv n;
    return n;
}

}  // namespace fake

extern "C" int32_t NV_Read(uint32_t item, void* data, uint32_t size) {
    std::vector<uint8_t> v = fake::nv().items[item];
    v.resize(size, 0);
    std::memcpy(data, v.data(), size);
    return 0;
}

extern "C" int32_t NV_Write(uint32_t item, const void* data, uint32_t size) {
    const auto* b = static_cast<const uint8_t*>(data);
    fake::nv().items[item].assign(b, b + size);
    return 0;
}

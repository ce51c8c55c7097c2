// Any 255-byte text through the comma-field readers.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fuzz_support.h"
#include "gps_adapter/gnss_reports.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    const uint32_t n = data[0] % 64;
    const uint32_t out_size = data[1] % 40;
    char text[255];
    std::memset(text, 0, sizeof text);
    std::memcpy(text, data + 2, size - 2 < sizeof text ? size - 2 : sizeof text);
    const char* f = at_find_field(n, text, text + sizeof text);
    fuzz::require(f == nullptr || (f >= text && f < text + sizeof text));
    char out[40];
    std::memset(out, 'Z', sizeof out);
    const char before = text[254];
    fuzz::require(at_get_number_field(n, text, out, out_size) != 1 ||
                  (out_size != 0 && std::strlen(out) < out_size));
    fuzz::require(text[254] == before);
    return 0;
}

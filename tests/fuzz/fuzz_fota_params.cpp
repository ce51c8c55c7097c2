// Any bytes as FOTA parameter texts through the quote stripper, APN check and number parser.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "fuzz_support.h"
#include "update_adapter/fota_params.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    const uint32_t base = data[0] % 40;
    // The text exactly as long as the input: no NUL after it, so any read
    // past it is caught.
    const std::vector<char> text(data + 1, data + size);
    const std::string_view view(text.data(), text.size());

    uint32_t value = 0;
    const int32_t parsed = update_parse_uint(&value, view, base);
    fuzz::require(parsed >= 0 && parsed <= 2 && (parsed != 0 || (base >= 2 && base <= 36)));

    std::vector<char> para(text);
    const auto len = static_cast<uint32_t>(para.size());
    if (update_at_strip_quotes_out(para.data(), para.data(), len) == 1) {
        // A well-formed text loses exactly its two quotes and holds none.
        const size_t n = strnlen(para.data(), len);
        fuzz::require(n + 2 == len && std::memchr(para.data(), '"', n) == nullptr &&
                      std::memcmp(para.data(), text.data() + 1, n) == 0);
    }

    std::vector<char> apn(text);
    apn.push_back('\0');
    if (update_at_check_apn(apn.data()) == 1) {
        for (size_t i = 0; i < 99 && apn[i] != '\0'; ++i) {
            const char c = apn[i];
            fuzz::require((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                          (c >= '0' && c <= '9') || c == '-' || c == '.');
        }
    }
    return 0;
}

// Text checks of the platform library, as the host provides them.
#include <cstring>

#include "text_convert.h"

extern "C" int32_t check_valid_chars(const char* text, const char* allowed) {
    if (text == nullptr || allowed == nullptr) {
        return 0;
    }
    return text[strspn(text, allowed)] == '\0' ? 1 : 0;
}

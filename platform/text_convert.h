// Platform text checks and conversions used on command parameters.
#pragma once

#include <cstdint>

extern "C" {
// Non-zero when every character of the NUL-terminated text is one of the
// characters of allowed (so also for an empty text); 0 otherwise or when
// either pointer is null.
int32_t check_valid_chars(const char* text, const char* allowed);
}

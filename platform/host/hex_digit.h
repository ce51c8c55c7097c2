// The value of one hexadecimal digit, for the host platform's parsers of hex text.
#pragma once

// 0 to 15 for a hexadecimal digit of either case; -1 for any other character.
inline int hex_digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// The number-field reader, up to byte 254 of an unterminated text.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "fake_platform.h"
#include "gps_adapter/gnss_reports.h"
#include "gps_adapter/gnss_state.h"

namespace {

TEST(NumberField, CopiesTheNumberThatBeginsTheField) {
    struct Case {
        const char* text;
        uint32_t n;
        uint32_t out_size;
        int32_t ok;
        const char* want;
    } cases[] = {
        {"$GPGGA,123519.00,4807.038,N", 1, 32, 1, "123519.00"},
        {"$GPGGA,123519.00,4807.038,N", 3, 32, 0, ""},  // not a number
        {"$GPGGA,,4807.038", 1, 32, 0, ""},             // empty field
        {"$GPGSA,A,3,,,*1E", 4, 32, 0, ""},             // empty before '*'
        {"x,-12.5e1rest", 1, 32, 1, "-12.5e1"},
        {"x,123456789", 1, 4, 1, "123"},  // cut to the output
        {"x,1", 7, 32, 0, ""},
    };
    for (const Case& c : cases) {
        char text[255] = {};
        std::memcpy(text, c.text, std::strlen(c.text));
        char out[32] = {};
        EXPECT_EQ(at_get_number_field(c.n, text, out, c.out_size), c.ok) << c.text;
        EXPECT_STREQ(out, c.want) << c.text << " field " << c.n;
    }
}

TEST(NumberField, UnterminatedTextIsReadToByte254AndRestored) {
    char text[255];
    std::memset(text, '7', sizeof text);
    text[0] = 'x';
    text[1] = ',';
    char out[300] = {};
    EXPECT_EQ(at_get_number_field(1, text, out, sizeof out), 1);
    EXPECT_EQ(std::strlen(out), 252u);  // bytes 2..253
    EXPECT_EQ(text[254], '7');
    EXPECT_EQ(at_get_number_field(0, nullptr, out, 1), 0);
    EXPECT_EQ(at_get_number_field(0, text, nullptr, 1), 0);
}

}  // namespace

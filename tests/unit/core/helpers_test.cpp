// GNSS result mapping and the comma-field readers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "fake_platform.h"
#include "gps_adapter/gnss_reports.h"
#include "gps_adapter/gnss_state.h"

namespace {

TEST(GpsResultMapping, EdgesAndHolesOfTheMapAnswer20) {
    const std::pair<uint32_t, int32_t> cases[] = {
        {275, 20}, {276, 88}, {280, 20}, {286, 20}, {287, 97}, {288, 20}, {0xFFFFFFFF, 20},
    };
    for (auto [code, want] : cases) {
        EXPECT_EQ(gps_errcode_to_retenum(code), want) << code;
    }
}

TEST(FindField, FieldsAndEmptyFields) {
    struct Case {
        const char* text;
        uint32_t n;
        int offset;  // -1: null
    } cases[] = {
        {"a,b,c", 0, 0},   {"a,b,c", 2, 4}, {"a,b,c", 3, -1}, {"a,,c", 1, -1}, {"a,*c", 1, -1},
        {"a,\r\n", 1, -1}, {",b", 0, -1},   {"", 0, -1},      {"a,", 1, -1},
    };
    for (const Case& c : cases) {
        const char* end = c.text + std::strlen(c.text);
        const char* got = at_find_field(c.n, c.text, end);
        if (c.offset < 0) {
            EXPECT_EQ(got, nullptr) << c.text << " field " << c.n;
        } else {
            EXPECT_EQ(got, c.text + c.offset) << c.text << " field " << c.n;
        }
    }
    EXPECT_EQ(at_find_field(0, nullptr, "x"), nullptr);
    EXPECT_EQ(at_find_field(0, "x", nullptr), nullptr);
}

TEST(FindField, NeverLooksAtOrPastEnd) {
    const char text[] = "ab,cd";
    EXPECT_EQ(at_find_field(1, text, text + 2), nullptr);  // the comma lies at end
    EXPECT_EQ(at_find_field(1, text, text + 3), nullptr);  // field starts at end
    EXPECT_EQ(at_find_field(1, text, text + 4), text + 3);
}

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

TEST(NumberField, FieldStartingAtTheLastByteIsRefused) {
    char text[255];
    std::memset(text, ',', sizeof text);
    text[254] = '5';
    char out[8] = {};
    EXPECT_EQ(at_get_number_field(254, text, out, sizeof out), 0);
}

}  // namespace

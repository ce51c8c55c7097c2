// The platform's number, base64 and time conversions at their limits.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "text_convert.h"

namespace {

TEST(Numbers, IntegersAtTheirLimits) {
    const struct {
        const char* text;
        bool ok32;
        int32_t v32;
        bool ok64;
        int64_t v64;
    } cases[] = {
        {"0", true, 0, true, 0},
        {"2147483647", true, INT32_MAX, true, INT32_MAX},
        {"-2147483648", true, INT32_MIN, true, INT32_MIN},
        {"2147483648", false, 0, true, 2147483648LL},
        {"9223372036854775807", false, 0, true, INT64_MAX},
        {"9223372036854775808", false, 0, false, 0},
        {"", false, 0, false, 0},
        {" 1", false, 0, false, 0},
        {"1.0", false, 0, false, 0},
        {"0x10", false, 0, false, 0},
        {"12a", false, 0, false, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        int32_t v32 = 55;
        int64_t v64 = 55;
        EXPECT_EQ(string_change_int_number(&v32, c.text), c.ok32 ? 1 : 0);
        EXPECT_EQ(v32, c.ok32 ? c.v32 : 55);
        EXPECT_EQ(string_change_int64_number(&v64, c.text), c.ok64 ? 1 : 0);
        EXPECT_EQ(v64, c.ok64 ? c.v64 : 55);
    }
    int32_t v = 0;
    EXPECT_EQ(string_change_int_number(&v, nullptr), 0);
    EXPECT_EQ(string_change_int_number(nullptr, "1"), 0);
}

TEST(Numbers, DecimalForms) {
    const struct {
        const char* text;
        bool ok_double;
        double value;
        bool ok_float;
    } cases[] = {
        {"3150.5000", true, 3150.5, true},
        {"+.5", true, 0.5, true},
        {"1e3", true, 1000.0, true},
        {"1e39", true, 1e39, false},  // beyond float
        {"1e309", false, 0, false},   // beyond double
        {"1e-400", true, 0.0, true},  // below the precision: rounds to zero
        {"", false, 0, false},
        {"1e", false, 0, false},
        {"0x1p3", false, 0, false},
        {"1.5 ", false, 0, false},
        {"1,5", false, 0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        double d = 7;
        float f = 7;
        EXPECT_EQ(string_change_double_number(&d, c.text), c.ok_double ? 1 : 0);
        EXPECT_EQ(d, c.ok_double ? c.value : 7.0);
        EXPECT_EQ(string_change_float_number(&f, c.text), c.ok_float ? 1 : 0);
        if (c.ok_float) {
            EXPECT_EQ(f, static_cast<float>(c.value));
        } else {
            EXPECT_EQ(f, 7.0f);
        }
    }
}

std::vector<uint8_t> b64(const std::string& text, int32_t* result, uint32_t out_size = 64) {
    std::vector<uint8_t> out(out_size + 8, 0xAA);
    uint32_t n = 12345;
    *result =
        AtBase64Decode(text.data(), static_cast<uint32_t>(text.size()), out.data(), out_size, &n);
    if (*result != 0) {
        return {};
    }
    EXPECT_EQ(out[out_size], 0xAA) << "written past out_size";
    out.resize(n);
    return out;
}

TEST(Base64, DecodesPaddedTextStrictly) {
    int32_t r = -2;
    EXPECT_EQ(b64("TWFu", &r), (std::vector<uint8_t>{'M', 'a', 'n'}));
    EXPECT_EQ(r, 0);
    EXPECT_EQ(b64("TQ==", &r), (std::vector<uint8_t>{'M'}));
    EXPECT_EQ(b64("+/+/", &r), (std::vector<uint8_t>{0xFB, 0xFF, 0xBF}));
    EXPECT_EQ(b64("AAAA", &r, 3).size(), 3u);

    for (const char* bad :
         {"", "TWF", "TW=u", "T===", "TQ==TWFu", "TWE*", "TR==", "TWF=", "TQ= "}) {
        SCOPED_TRACE(bad);
        b64(bad, &r);
        EXPECT_EQ(r, -1);
    }
    b64("AAAAAAAA", &r, 5);  // six bytes do not fit in five
    EXPECT_EQ(r, -1);
}

TEST(GpsTime, UtcWithLeapSecondsAndHundredths) {
    const struct {
        const char* text;
        int64_t ms;  // -1: refused
    } cases[] = {
        {"1980-01-06T00:00:00.00", 0},
        {"1980-01-06T00:00:00.99", 990},
        {"1980-01-05T23:59:59.99", -1},           // before the epoch
        {"1981-06-30T23:59:60.00", 46828800000},  // the first leap second
        {"2016-12-31T23:59:60.50", 1167264017500},
        {"2017-01-01T00:00:00.00", 1167264018000},
        {"2017-06-30T23:59:60.00", -1},  // no leap second that day
        {"2023-02-29T00:00:00.00", -1},
        {"2100-02-29T00:00:00.00", -1},
        {"2024-01-01T24:00:00.00", -1},
        {"2024-01-01 00:00:00.00", -1},
        {"2024-01-01T00:00:00.000", -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        int64_t t = -7;
        EXPECT_EQ(UTC_change_GPS_time(&t, c.text), c.ms >= 0 ? 1 : 0);
        EXPECT_EQ(t, c.ms >= 0 ? c.ms : -7);
    }
}

}  // namespace

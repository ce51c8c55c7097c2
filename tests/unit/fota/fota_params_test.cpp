// FOTA parameter helpers at their limits: numbers and quotes.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "request_builder.h"
#include "update_adapter/fota_at_handlers.h"
#include "update_adapter/fota_params.h"

namespace {

TEST(FotaParseUint, DigitsBlanksBasesAndOverflow) {
    struct Case {
        const char* text;
        uint32_t base;
        int32_t result;
        uint32_t value;
    } cases[] = {
        // clang-format off
        {" 1 ", 10, 0, 1}, {"1 2", 10, 0, 12}, {"   ", 10, 1, 0}, {"1a", 10, 2, 0},
        {"fF", 16, 0, 255}, {"z", 36, 0, 35}, {"2", 2, 2, 0}, {"-1", 10, 2, 0},
        {"4294967295", 10, 0, UINT32_MAX}, {"4294967296", 10, 2, 0}, {"100000000", 16, 2, 0},
        {"1", 1, 2, 0}, {"1", 37, 2, 0},
        // clang-format on
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text) + " base " + std::to_string(c.base));
        uint32_t v = 0;
        EXPECT_EQ(update_parse_uint(&v, c.text, c.base), c.result);
        if (c.result == 0) {
            EXPECT_EQ(v, c.value);
        }
    }
    EXPECT_EQ(update_parse_uint(nullptr, "1", 10), 2);
}

TEST(FotaQuotes, OnlyOneWholeQuotedTextIsStripped) {
    struct Case {
        std::string in;
        int32_t ok;
        std::string out;
    } cases[] = {
        // clang-format off
        {"\"\"", 1, ""}, {"\"ab\"c", 0, ""}, {"\"a\"\"", 0, ""}, {"\"", 0, ""}, {"", 0, ""},
        {"a\"b\"", 0, ""}, {"\" a,b \"", 1, " a,b "},
        // clang-format on
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        std::vector<char> buf(c.in.begin(), c.in.end());
        buf.push_back('\0');
        const auto len = static_cast<uint32_t>(c.in.size());
        EXPECT_EQ(update_at_strip_quotes_out(buf.data(), buf.data(), len), c.ok);
        if (c.ok == 1) {
            EXPECT_EQ(std::string(buf.data()), c.out);
        }
    }
}

TEST(FotaQuotes, LengthMustMatchAndUnterminatedTextIsNotOverread) {
    char typed[] = "\"ab\"";
    EXPECT_EQ(update_at_strip_quotes_out(typed, typed, 6), 0);  // claims more than was typed
    // Exactly len bytes, no NUL and no closing quote: stops at len.
    std::vector<char> open{'"', 'a', 'b', 'c', 'd'};
    EXPECT_EQ(update_at_strip_quotes_out(open.data(), open.data(), 5), 0);
    std::vector<char> closed{'"', 'a', 'b', 'c', '"'};
    EXPECT_EQ(update_at_strip_quotes_out(closed.data(), closed.data(), 5), 1);
    EXPECT_STREQ(closed.data(), "abc");
}

// The service accepts any value it is handed: the daemon keeps the SMS
// download switch to 0 and 1 itself.
TEST(FotaOperations, SmsDownloadSwitchAboveOneNeverReachesTheService) {
    for (const char* value : {"1", "2"}) {
        fake::RequestBytes r("^FOTASMSCFG");
        r.text(value);
        AtRequest req{};
        std::memcpy(&req, r.data(), sizeof req);
        AtResponse rsp{};
        At_SetFotasmsCfg(&req, &rsp);
        EXPECT_EQ(rsp.m_retenum, value[0] == '1' ? 0 : 174) << value;
    }
}

}  // namespace

// Terminal input: line assembly, command-line parsing and the request typed from a line.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "command_line.h"

namespace {

using atsim::CommandLine;
using atsim::LineAssembler;
using Kind = CommandLine::Kind;

std::string feed_all(LineAssembler& a, const std::string& s, bool* overflowed = nullptr) {
    bool dummy = false;
    for (char c : s) {
        if (a.feed(c) == LineAssembler::Fed::LineEnd) {
            return a.take(overflowed != nullptr ? overflowed : &dummy);
        }
    }
    return "<no line end>";
}

TEST(LineAssembler, BuildsLinesAcrossFeedsWithBackspaceAndControls) {
    struct Case {
        const char* in;
        const char* line;
    } const cases[] = {
        {"AT\r", "AT"},
        {"AT\n", "AT"},
        {"ATX\bY\r", "ATY"},
        {"ATX\x7fY\r", "ATY"},
        {"\b\bAT\r", "AT"},           // backspace on an empty line does nothing
        {"A\x1bT\x01\r", "AT"},       // control characters are not stored
        {"AT^X=\"a\xc3\xa9\"\r", "AT^X=\"a\xc3\xa9\""},  // bytes above 0x7f are text
        {"\r", ""},
    };
    for (const Case& c : cases) {
        LineAssembler a;
        EXPECT_EQ(feed_all(a, c.in), c.line) << c.in;
        EXPECT_EQ(a.size(), 0u);
    }
}

TEST(LineAssembler, OverlongLineIsFlaggedAndTheNextLineIsClean) {
    LineAssembler a;
    bool over = false;
    EXPECT_EQ(feed_all(a, std::string(atsim::kMaxLineLength, 'A') + "\r", &over).size(),
              atsim::kMaxLineLength);
    EXPECT_FALSE(over);
    EXPECT_EQ(a.feed('x'), LineAssembler::Fed::Stored);
    for (size_t i = 0; i < atsim::kMaxLineLength; ++i) {
        a.feed('B');
    }
    EXPECT_EQ(a.feed('\b'), LineAssembler::Fed::Ignored);  // no editing of a lost line
    feed_all(a, "\r", &over);
    EXPECT_TRUE(over);
    EXPECT_EQ(feed_all(a, "AT\r", &over), "AT");
    EXPECT_FALSE(over);
}

TEST(CommandLineParse, ClassifiesLines) {
    struct Case {
        const char* line;
        Kind kind;
        const char* name;
        uint32_t type;
        std::vector<std::string> params;
    } const cases[] = {
        {"", Kind::Empty, "", 0, {}},
        {"AT", Kind::Plain, "", 0, {}},
        {"ATE0", Kind::Echo, "", 0, {}},
        {"ATE", Kind::Echo, "", 0, {}},
        {"AT^wpdgl=1", Kind::Extended, "^wpdgl", NL_TYPE_SET, {"1"}},
        {"AT^WPDGL?", Kind::Extended, "^WPDGL", NL_TYPE_QUERY, {}},
        {"AT^WPDGL=?", Kind::Extended, "^WPDGL", NL_TYPE_TEST, {}},
        {"AT^WPDGL", Kind::Extended, "^WPDGL", NL_TYPE_SET, {}},
        {"AT^WPDGL=", Kind::Extended, "^WPDGL", NL_TYPE_SET, {}},
        {"AT^X=,", Kind::Extended, "^X", NL_TYPE_SET, {"", ""}},
        {"AT^X=1,,3", Kind::Extended, "^X", NL_TYPE_SET, {"1", "", "3"}},
        {"AT^X=\"a,b\",3", Kind::Extended, "^X", NL_TYPE_SET, {"\"a,b\"", "3"}},
        {"AT^X=ab\"c,d\"e", Kind::Extended, "^X", NL_TYPE_SET, {"ab\"c,d\"e"}},
        {"AT^X=\"\"", Kind::Extended, "^X", NL_TYPE_SET, {"\"\""}},
        {"AT^X= 1", Kind::Extended, "^X", NL_TYPE_SET, {" 1"}},
    };
    for (const Case& c : cases) {
        const CommandLine l = atsim::parse_command_line(c.line);
        EXPECT_EQ(l.kind, c.kind) << c.line << " " << l.why;
        EXPECT_EQ(l.name, c.name) << c.line;
        EXPECT_EQ(l.type, c.type) << c.line;
        EXPECT_EQ(l.params, c.params) << c.line;
    }
    EXPECT_FALSE(atsim::parse_command_line("ATE0").echo_on);
    EXPECT_TRUE(atsim::parse_command_line("ATE1").echo_on);
}

TEST(CommandLineParse, RefusesBadLines) {
    const std::string seventeen = "AT^X=" + std::string(16, ',');
    EXPECT_EQ(atsim::parse_command_line(seventeen).params.size(), 17u);
    for (const std::string& bad :
         {std::string("hello"), std::string("A"), std::string("ATZ"), std::string("ATE2"),
          std::string("AT+CGMR"), std::string("AT^"), std::string("AT^=1"), std::string("AT^X?1"),
          std::string("AT^X=?1"), std::string("AT^X??"), std::string("AT^X=\"a"),
          std::string("AT^X=\"a\",\"b"), std::string("AT^X-Y"), std::string(" AT"),
          seventeen + ",", "AT^" + std::string(67, 'N')}) {
        const CommandLine l = atsim::parse_command_line(bad);
        EXPECT_EQ(l.kind, Kind::Invalid) << bad;
        EXPECT_FALSE(l.why.empty()) << bad;
    }
}

// A row as the registration would give it.
atsim::CommandRow row(const char* name, const char* tmpl) {
    atsim::CommandRow r;
    r.name = name;
    if (tmpl != nullptr) {
        r.params_text = tmpl;
        r.params = atsim::parse_template(tmpl, nullptr);
    }
    return r;
}

struct Built {
    bool ok;
    AtRequest req;
    std::string why;
};

Built build(const char* line, const atsim::CommandRow& r, uint32_t port = 0) {
    Built b{};
    b.ok = atsim::build_request(atsim::parse_command_line(line), r, port, b.req, &b.why);
    return b;
}

TEST(BuildRequest, TemplatedNumbersAreNumericAndKeepTheTypedDigits) {
    const auto r = row("^WPDFR", "(0-65535),(1-1800)");
    const Built b = build("AT^wpdfr=0065535,1", r, 54);
    ASSERT_TRUE(b.ok) << b.why;
    EXPECT_STREQ(b.req.m_atcmd, "^WPDFR");  // the registered name, whatever the case typed
    EXPECT_EQ(b.req.m_para_list[0].ulParaValue, 65535u);
    EXPECT_EQ(b.req.m_para_list[0].usParaLen, 0u);
    EXPECT_STREQ(b.req.m_para_list[0].aucPara, "0065535");
    EXPECT_EQ(b.req.m_para_list[1].ulParaValue, 1u);
    // Bytes as the daemon reads them: usParaLen of entry 1 at 650 + 568.
    const auto* raw = reinterpret_cast<const uint8_t*>(&b.req);
    EXPECT_EQ(raw[84 + 568], 1);
    EXPECT_EQ(raw[650 + 568] | raw[651 + 568], 0);
}

TEST(BuildRequest, TextCountsTheQuotesAsTyped) {
    const auto untemplated = row("^FOTACFG", nullptr);
    const Built b = build("AT^FOTACFG=\"apn\",\"a,b\",,1", untemplated);
    ASSERT_TRUE(b.ok) << b.why;
    EXPECT_EQ(b.req.m_para_count, 4u);
    EXPECT_STREQ(b.req.m_para_list[0].aucPara, "\"apn\"");
    EXPECT_EQ(b.req.m_para_list[0].usParaLen, 5u);
    EXPECT_EQ(b.req.m_para_list[1].usParaLen, 5u);
    // An omitted parameter is all zero.
    const AtCmdParam zero{};
    EXPECT_EQ(std::memcmp(&b.req.m_para_list[2], &zero, sizeof zero), 0);
    // A number typed for a command without template is text.
    EXPECT_STREQ(b.req.m_para_list[3].aucPara, "1");
    EXPECT_EQ(b.req.m_para_list[3].usParaLen, 1u);
    EXPECT_EQ(b.req.m_para_list[3].ulParaValue, 0u);

    const auto tls = row("^WPTLS", "(0-3000),(1-10),(@tlsdata)");
    const Built t = build("AT^WPTLS=3000,10,\"MIIB\"", tls);
    ASSERT_TRUE(t.ok) << t.why;
    EXPECT_EQ(t.req.m_para_list[2].usParaLen, 6u);
    const Built digits = build("AT^WPTLS=1,1,1234", tls);  // a text item stays text
    ASSERT_TRUE(digits.ok) << digits.why;
    EXPECT_EQ(digits.req.m_para_list[2].usParaLen, 4u);
    EXPECT_EQ(digits.req.m_para_list[2].ulParaValue, 0u);
}

TEST(BuildRequest, RefusesWhatTheTemplateOrTheFieldsCannotTake) {
    const auto dfr = row("^WPDFR", "(0-65535),(1-1800)");
    const auto gl = row("^WPDGL", "(0-3)");
    const auto any = row("^IPOPEN", nullptr);
    struct Case {
        const char* line;
        const atsim::CommandRow& r;
    } const cases[] = {
        {"AT^WPDGL=0x1", gl},
        {"AT^WPDGL=1 ", gl},
        {"AT^WPDFR=4294967296,1", dfr},  // would wrap to 0 in 32 bits
    };
    for (const Case& c : cases) {
        const Built b = build(c.line, c.r);
        EXPECT_FALSE(b.ok) << c.line;
        EXPECT_FALSE(b.why.empty()) << c.line;
    }
    const std::string longest = "AT^IPOPEN=\"" + std::string(atsim::kMaxParamText - 2, 'x') + "\"";
    const Built fits = build(longest.c_str(), any);
    ASSERT_TRUE(fits.ok) << fits.why;
    EXPECT_EQ(fits.req.m_para_list[0].usParaLen, atsim::kMaxParamText);
    EXPECT_EQ(fits.req.m_para_list[0].aucPara[atsim::kMaxParamText], '\0');
    const std::string too_long = "AT^IPOPEN=" + std::string(atsim::kMaxParamText + 1, 'x');
    EXPECT_FALSE(build(too_long.c_str(), any).ok);
    // Fewer parameters than the template has are passed on for the handler to judge.
    const Built one = build("AT^WPDFR=5", dfr);
    ASSERT_TRUE(one.ok);
    EXPECT_EQ(one.req.m_para_count, 1u);
}

}  // namespace

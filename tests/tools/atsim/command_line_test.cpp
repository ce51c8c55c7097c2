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

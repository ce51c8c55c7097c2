// Parameter templates: the grammar of the table's templates and the value check.
#include <gtest/gtest.h>

#include "at_template.h"

namespace {

using atsim::parse_template;

TEST(Template, RefusesMalformedTemplates) {
    for (const char* bad : {"", "(", "()", "(0-)", "(-1)", "(a)", "(1-0)", "(0,1", "(0),",
                            "(0)(1)", "(@)", "(0 )", " (0)", "(4294967296)", "(@a b)", "0-1",
                            "(0,,1)", "((0))"}) {
        std::string why;
        EXPECT_FALSE(parse_template(bad, &why)) << '"' << bad << '"';
        EXPECT_FALSE(why.empty()) << bad;
    }
}

TEST(Template, ItemAllowsExactlyItsValuesAndRanges) {
    const auto t = parse_template("(0,2-5,9),(@data),(0-65535)", nullptr);
    ASSERT_TRUE(t);
    const atsim::TemplateItem& list = (*t)[0];
    EXPECT_FALSE(list.text);
    for (uint32_t v : {0u, 2u, 3u, 5u, 9u}) {
        EXPECT_TRUE(list.allows(v)) << v;
    }
    for (uint32_t v : {1u, 6u, 8u, 10u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(list.allows(v)) << v;
    }
    EXPECT_TRUE((*t)[1].text);
    EXPECT_EQ((*t)[1].text_name, "data");
    EXPECT_TRUE((*t)[2].allows(65535));
    EXPECT_FALSE((*t)[2].allows(65536));
}

}  // namespace

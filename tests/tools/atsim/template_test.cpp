// Parameter templates: the grammar of the table's templates and the value check.
#include <gtest/gtest.h>

#include "at_template.h"

namespace {

using atsim::parse_template;

TEST(Template, ParsesEveryShapeTheTableUses) {
    struct Case {
        const char* text;
        size_t items;
    } const cases[] = {
        {"(0,1,5)", 1},       {"(0-2)", 1},           {"(0-65535),(1-1800)", 2},
        {"(0),(0-1)", 2},     {"(1,2,3,4)", 1},       {"(0-3000),(1-10),(@tlsdata)", 3},
        {"(1),(1),(1,2),(0,1)", 4}, {"(0,2-5,9)", 1}, {"(4294967295)", 1},
    };
    for (const Case& c : cases) {
        std::string why;
        const auto t = parse_template(c.text, &why);
        ASSERT_TRUE(t) << c.text << ": " << why;
        EXPECT_EQ(t->size(), c.items) << c.text;
    }
}

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

// The command table's lookup and the lengths the registration message is built from.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "at_cmd_table.h"

namespace {

TEST(CommandTable, LengthsCountTheNulAndTheTableEnds) {
    for (size_t i = 0; i < AT_CMD_COUNT; ++i) {
        const AtCmdEntry& e = g_at_cmd_table[i];
        SCOPED_TRACE(e.m_name);
        EXPECT_EQ(e.m_name_len, strlen(e.m_name) + 1);
        EXPECT_EQ(e.m_param_len, e.m_param == nullptr ? 0u : strlen(e.m_param) + 1);
    }
    EXPECT_EQ(g_at_cmd_table[AT_CMD_COUNT].m_name_len, 0u);
}

TEST(CommandTable, LookupIgnoresCaseAndFindsWholeNamesOnly) {
    for (size_t i = 0; i < AT_CMD_COUNT; ++i) {
        std::string lower = g_at_cmd_table[i].m_name;
        for (char& c : lower) {
            c = static_cast<char>(tolower(c));
        }
        EXPECT_EQ(at_cmd_find(lower.c_str()), &g_at_cmd_table[i]) << lower;
    }
    for (const char* miss : {"", "^", "WPDOM", "^WPDOMX", "^WPDO"}) {
        EXPECT_EQ(at_cmd_find(miss), nullptr) << miss;
    }
    EXPECT_EQ(at_cmd_handler(g_at_cmd_table[0], 4), nullptr);
}

}  // namespace

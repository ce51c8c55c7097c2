// The registration message: the command table's bytes against the golden file, and the size.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "at_cmd_table.h"
#include "le_bytes.h"
#include "nl_channel.h"

namespace {

std::vector<uint8_t> build(const AtCmdEntry* table, uint32_t seq = 0, uint32_t pid = 0) {
    const NlRegistrationSize size = nl_registration_size(table);
    std::vector<uint8_t> msg(size.buffer_size, 0xEE);
    const uint32_t n = nl_build_registration(table, seq, pid, msg.data(), size.buffer_size);
    EXPECT_EQ(n, size.nlmsg_len);
    return msg;
}

// The golden file: '#' starts a comment, the rest is hex, whitespace ignored.
std::vector<uint8_t> read_golden() {
    std::ifstream in(TANDREL_REGISTRATION_GOLDEN);
    std::vector<uint8_t> out;
    std::string line;
    while (std::getline(in, line)) {
        line = line.substr(0, line.find('#'));
        std::string digits;
        for (char c : line)
            if (!std::isspace(static_cast<unsigned char>(c)))
                digits += c;
        for (size_t i = 0; i + 1 < digits.size(); i += 2)
            out.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return out;
}

void write_golden(const std::vector<uint8_t>& m, const std::vector<size_t>& starts) {
    std::ofstream out(TANDREL_REGISTRATION_GOLDEN);
    out << "# The registration built from the daemon's command table (seq 7, pid 4321): the\n"
           "# 28-byte header, then one record a line. Each handler word present shows as\n"
           "# 01000000; zero fill follows up to nlmsg_len. Rewritten by the registration test\n"
           "# with TANDREL_UPDATE_GOLDEN=1 after a deliberate change to the table.\n";
    for (size_t i = 0; i < starts.size(); ++i) {
        const size_t end = i + 1 < starts.size() ? starts[i + 1] : 28 + le_get_u32(&m[24]);
        char hex[3];
        for (size_t b = starts[i]; b < end; ++b) {
            std::snprintf(hex, sizeof hex, "%02x", m[b]);
            out << hex;
        }
        out << (i == 0 ? "" : std::string("  # ") + reinterpret_cast<const char*>(&m[starts[i] + 48]))
            << "\n";
    }
}

// Every row of the daemon's table, byte for byte against the golden file: a
// changed time-out, flag, error code, name or template in any row shows. The
// records are walked by the message's own length words. Handler words: on the
// module's 32-bit processor each is the handler's address, elsewhere any
// non-zero word; a null handler's is 0. Present ones are compared as 1.
TEST(Registration, CommandTableMatchesTheGoldenFile) {
    std::vector<uint8_t> msg = build(g_at_cmd_table, 7, 4321);
    const size_t table_end = 28 + le_get_u32(&msg[24]);
    std::vector<size_t> starts = {0};
    const AtCmdEntry* e = g_at_cmd_table;
    for (size_t off = 28; off < table_end; ++e) {
        ASSERT_NE(e->m_name_len, 0u) << "more records than rows";
        SCOPED_TRACE(e->m_name);
        starts.push_back(off);
        const AtHandler handlers[4] = {e->m_set_func, e->m_query_func, e->m_test_func,
                                       e->m_abort_func};
        for (size_t op = 0; op < 4; ++op) {
            uint8_t* word = &msg[off + 4 + 8 * op];
            if (handlers[op] == nullptr) {
                EXPECT_EQ(le_get_u32(word), 0u) << "operation " << op;
                continue;
            }
            if constexpr (sizeof(uintptr_t) == 4) {
                EXPECT_EQ(le_get_u32(word), static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handlers[op])))
                    << "operation " << op;
            }
            EXPECT_NE(le_get_u32(word), 0u) << "operation " << op;
            le_put_u32(word, 1);
        }
        const uint32_t name_len = le_get_u32(&msg[off + 44]);
        off += 54 + name_len + le_get_u32(&msg[off + 49 + name_len]);
    }
    EXPECT_EQ(e->m_name_len, 0u) << "fewer records than rows";
    for (size_t i = table_end; i < msg.size(); ++i)
        ASSERT_EQ(msg[i], 0) << "fill byte " << i;
    if (std::getenv("TANDREL_UPDATE_GOLDEN") != nullptr)
        write_golden(msg, starts);
    const std::vector<uint8_t> golden = read_golden();
    ASSERT_FALSE(golden.empty()) << TANDREL_REGISTRATION_GOLDEN;
    EXPECT_EQ(le_get_u32(&golden[0]), msg.size());
    ASSERT_EQ(golden.size(), table_end);
    for (size_t i = 0; i < table_end; ++i) {
        auto rec = std::upper_bound(starts.begin(), starts.end(), i) - 1;
        ASSERT_EQ(msg[i], golden[i]) << "byte " << i - *rec << " of record " << rec - starts.begin()
                                     << " (0: the header)";
    }
}

}  // namespace

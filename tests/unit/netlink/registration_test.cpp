// The registration message: its bytes, its size, its bounds.
#include <gtest/gtest.h>

#include <cstring>
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

int32_t some_handler(AtRequest*, AtResponse*) {
    return 0;
}

// The whole message of a two-row table: header, each record byte by byte
// (handler words, a name and template with their NULs, the unaligned template
// length), then zeros up to the 10240-byte minimum.
TEST(Registration, WholeMessage) {
    const AtCmdEntry table[] = {
        {0, some_handler, 30000, nullptr, 5, nullptr, 6, nullptr, 7, 92, 3, 4, "^AB", 0, nullptr},
        {0, nullptr, 1, nullptr, 2, nullptr, 3, some_handler, 4, 10, 0, 3, "^C", 6, "(0-1)"},
        {0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, 10, 3, 0, nullptr, 0, nullptr},
    };
    const std::vector<uint8_t> msg = build(table, 7, 4321);
    std::vector<uint8_t> want;
    const auto u32 = [&](uint32_t v) {
        for (int i = 0; i < 4; ++i)
            want.push_back(static_cast<uint8_t>(v >> (8 * i)));
    };
    const auto text = [&](const char* s, size_t n) { want.insert(want.end(), s, s + n); };
    // On the module's 32-bit processor a handler word is the address itself;
    // elsewhere any non-zero word.
    const uint32_t h = nl_handler_word(some_handler);
    ASSERT_NE(h, 0u);
    if constexpr (sizeof(uintptr_t) == 4) {
        EXPECT_EQ(h, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&some_handler)));
    }
    u32(10268);                             // nlmsg_len
    want.insert(want.end(), {3, 0, 0, 0});  // type, flags
    for (uint32_t w : {7u, 4321u, 1u, 0u, 121u})
        u32(w);  // seq, pid, device, event, len
    for (uint32_t w : {0u, h, 30000u, 0u, 5u, 0u, 6u, 0u, 7u, 92u, 3u, 4u})
        u32(w);
    text("^AB\0", 4);
    want.push_back(0);
    u32(0);  // no template: m_param_len 0, then the single 0 byte
    want.push_back(0);
    for (uint32_t w : {0u, 0u, 1u, 0u, 2u, 0u, 3u, h, 4u, 10u, 0u, 3u})
        u32(w);
    text("^C\0", 3);
    want.push_back(0);
    u32(6);
    text("(0-1)\0", 6);
    want.push_back(0);
    want.resize(10268, 0);
    EXPECT_EQ(msg, want);
}

// Every row of the daemon's own table: on the module's 32-bit processor each
// present handler's word is the handler's address, and a null handler's is 0.
TEST(Registration, HandlerWordsOfTheCommandTable) {
    const std::vector<uint8_t> msg = build(g_at_cmd_table);
    size_t off = 28;
    for (const AtCmdEntry* e = g_at_cmd_table; e->m_name_len != 0; ++e) {
        SCOPED_TRACE(e->m_name);
        const AtHandler handlers[4] = {e->m_set_func, e->m_query_func, e->m_test_func,
                                       e->m_abort_func};
        for (int op = 0; op < 4; ++op) {
            const uint32_t word = le_get_u32(&msg[off + 4 + 8 * op]);
            if (handlers[op] == nullptr) {
                EXPECT_EQ(word, 0u) << "operation " << op;
            } else if constexpr (sizeof(uintptr_t) == 4) {
                EXPECT_EQ(word, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handlers[op])))
                    << "operation " << op;
            } else {
                EXPECT_NE(word, 0u) << "operation " << op;
            }
        }
        const uint32_t name_len = le_get_u32(&msg[off + 44]);
        off += 54 + name_len + le_get_u32(&msg[off + 49 + name_len]);
    }
    EXPECT_EQ(off, 28u + 5313u);
}

TEST(Registration, LongTableSetsTheMessageSize) {
    // 100 rows of 115 bytes: 11500, beyond the 10240 minimum.
    const std::string name = "^" + std::string(59, 'N');
    std::vector<AtCmdEntry> table(101, AtCmdEntry{});
    for (size_t i = 0; i < 100; ++i) {
        table[i].m_name_len = static_cast<uint32_t>(name.size() + 1);
        table[i].m_name = name.c_str();
    }
    const NlRegistrationSize size = nl_registration_size(table.data());
    EXPECT_EQ(size.cmdtbl_len, 11500u);
    EXPECT_EQ(size.final_len, 11500u);
    EXPECT_EQ(size.nlmsg_len, 11528u);
    EXPECT_EQ(size.buffer_size, 11528u);
    const std::vector<uint8_t> msg = build(table.data());
    EXPECT_EQ(le_get_u32(&msg[0]), 11528u);

    std::vector<uint8_t> small(size.nlmsg_len - 1, 0xEE);
    EXPECT_EQ(nl_build_registration(table.data(), 0, 0, small.data(),
                                    static_cast<uint32_t>(small.size())),
              0u);
    EXPECT_EQ(small[0], 0xEE) << "nothing written into a buffer that is too small";
}

TEST(Registration, LengthWordsLongerThanTheirTextsReadNoFurther) {
    // The length words decide the layout; the texts are read to their NUL only.
    static const char name[] = "^A";
    static const char param[] = "(1)";
    const AtCmdEntry table[] = {
        {0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, 0, 0, 10, name, 9, param},
        {},
    };
    const std::vector<uint8_t> msg = build(table);
    const uint8_t* r = &msg[28];
    EXPECT_EQ(le_get_u32(r + 44), 10u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(r + 48), 10),
              std::string("^A\0\0\0\0\0\0\0\0", 10));
    EXPECT_EQ(le_get_u32(r + 59), 9u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(r + 63), 9),
              std::string("(1)\0\0\0\0\0\0", 9));
    EXPECT_EQ(le_get_u32(&msg[24]), 54u + 19u);
}

}  // namespace

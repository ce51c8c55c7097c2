// The registration message: header, records byte by byte, sizes, bounds.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "at_cmd_table.h"
#include "fake_platform.h"
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

int32_t some_handler(AtRequest*, AtResponse*) { return 0; }

// What the driver must find in a handler word: 0 for a null handler; on the
// module's 32-bit processor the handler's address itself; where addresses are
// wider, a non-zero word (the address cut to 32 bits, 1 if that cut is 0).
uint32_t handler_word(AtHandler h) {
    if (h == nullptr) {
        return 0;
    }
    const uintptr_t address = reinterpret_cast<uintptr_t>(h);
    if constexpr (sizeof address == 4) {
        return static_cast<uint32_t>(address);
    }
    const auto low = static_cast<uint32_t>(address);
    return low != 0 ? low : 1;
}

TEST(Registration, HeaderOfTheCommandTable) {
    const NlRegistrationSize size = nl_registration_size(g_at_cmd_table);
    EXPECT_EQ(size.cmdtbl_len, 5313u);
    EXPECT_EQ(size.final_len, 10240u);
    EXPECT_EQ(size.nlmsg_len, 10268u);
    EXPECT_EQ(size.buffer_size, 10268u);

    const std::vector<uint8_t> msg = build(g_at_cmd_table, 7, 4321);
    EXPECT_EQ(le_get_u32(&msg[0]), 10268u);
    EXPECT_EQ(le_get_u16(&msg[4]), 3u);
    EXPECT_EQ(le_get_u16(&msg[6]), 0u);
    EXPECT_EQ(le_get_u32(&msg[8]), 7u);
    EXPECT_EQ(le_get_u32(&msg[12]), 4321u);
    EXPECT_EQ(le_get_u32(&msg[16]), 1u) << "device_id";
    EXPECT_EQ(le_get_u32(&msg[20]), 0u) << "event_code";
    EXPECT_EQ(le_get_u32(&msg[24]), 5313u) << "len: the table, not the message";
}

TEST(Registration, EveryRowOfTheCommandTableInOrder) {
    const std::vector<uint8_t> msg = build(g_at_cmd_table);
    size_t off = 28;
    size_t rows = 0;
    for (const AtCmdEntry* e = g_at_cmd_table; e->m_name_len != 0; ++e, ++rows) {
        SCOPED_TRACE(e->m_name);
        const uint8_t* r = &msg[off];
        const AtHandler handlers[4] = {e->m_set_func, e->m_query_func, e->m_test_func, e->m_abort_func};
        const uint32_t timeouts[4] = {e->m_set_timeout, e->m_query_timeout, e->m_test_timeout,
                                      e->m_abort_timeout};
        EXPECT_EQ(le_get_u32(r), 0u) << "m_index";
        for (int op = 0; op < 4; ++op) {
            EXPECT_EQ(le_get_u32(r + 4 + 8 * op), handler_word(handlers[op])) << "handler word " << op;
            EXPECT_EQ(le_get_u32(r + 8 + 8 * op), timeouts[op]) << "time-out " << op;
        }
        EXPECT_EQ(le_get_u32(r + 36), e->m_err_code);
        EXPECT_EQ(le_get_u32(r + 40), e->m_flag);
        const uint32_t name_len = le_get_u32(r + 44);
        ASSERT_EQ(name_len, strlen(e->m_name) + 1);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(r + 48), name_len), std::string(e->m_name, name_len));
        EXPECT_EQ(r[48 + name_len], 0);
        const uint32_t param_len = le_get_u32(r + 49 + name_len);  // unaligned
        ASSERT_EQ(param_len, e->m_param != nullptr ? strlen(e->m_param) + 1 : 0u);
        if (param_len != 0) {
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(r + 53 + name_len), param_len),
                      std::string(e->m_param, param_len));
        }
        EXPECT_EQ(r[53 + name_len + param_len], 0);
        off += 54 + name_len + param_len;
    }
    EXPECT_EQ(rows, AT_CMD_COUNT);
    EXPECT_EQ(off, 28u + 5313u);
    for (size_t i = off; i < msg.size(); ++i) {
        ASSERT_EQ(msg[i], 0) << "zero fill at " << i;
    }
}

TEST(Registration, RecordsExactly) {
    const AtCmdEntry table[] = {
        {0, some_handler, 30000, nullptr, 5, nullptr, 6, nullptr, 7, 92, 3, 4, "^AB", 0, nullptr},
        {0, nullptr, 1, nullptr, 2, nullptr, 3, some_handler, 4, 10, 0, 3, "^C", 6, "(0-1)"},
        {0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, 10, 3, 0, nullptr, 0, nullptr},
    };
    const std::vector<uint8_t> msg = build(table);
    std::vector<uint8_t> want;
    const auto u32 = [&](uint32_t v) {
        for (int i = 0; i < 4; ++i) want.push_back(static_cast<uint8_t>(v >> (8 * i)));
    };
    const auto text = [&](const char* s, size_t n) { want.insert(want.end(), s, s + n); };
    const uint32_t h = nl_handler_word(some_handler);
    ASSERT_NE(h, 0u);
    for (uint32_t w : {0u, h, 30000u, 0u, 5u, 0u, 6u, 0u, 7u, 92u, 3u, 4u}) u32(w);
    text("^AB\0", 4);
    want.push_back(0);
    u32(0);  // no template: m_param_len 0, then the single 0 byte
    want.push_back(0);
    for (uint32_t w : {0u, 0u, 1u, 0u, 2u, 0u, 3u, h, 4u, 10u, 0u, 3u}) u32(w);
    text("^C\0", 3);
    want.push_back(0);
    u32(6);
    text("(0-1)\0", 6);
    want.push_back(0);

    ASSERT_EQ(want.size(), 58u + 63u);
    EXPECT_EQ(le_get_u32(&msg[24]), want.size());
    EXPECT_EQ(std::vector<uint8_t>(msg.begin() + 28, msg.begin() + 28 + static_cast<long>(want.size())), want);
    EXPECT_EQ(msg.size(), 10268u) << "a short table still fills 10240 bytes";
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
    EXPECT_EQ(nl_build_registration(table.data(), 0, 0, small.data(), static_cast<uint32_t>(small.size())), 0u);
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
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(r + 48), 10), std::string("^A\0\0\0\0\0\0\0\0", 10));
    EXPECT_EQ(le_get_u32(r + 59), 9u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(r + 63), 9), std::string("(1)\0\0\0\0\0\0", 9));
    EXPECT_EQ(le_get_u32(&msg[24]), 54u + 19u);
}

}  // namespace

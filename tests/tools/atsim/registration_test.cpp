// The registration check and the datagrams exchanged with the daemon.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "driver_wire.h"
#include "nl_channel.h"
#include "registration.h"

namespace {

void put32(std::vector<uint8_t>& b, size_t off, uint32_t v) {
    for (size_t i = 0; i < 4; ++i) {
        b[off + i] = static_cast<uint8_t>(v >> (8 * i));
    }
}

int32_t handler(AtRequest*, AtResponse*) {
    return 0;
}

// The daemon's own registration of a two-row table (the first row ^WPDGL with
// template "(0-3)"), or of the rows given.
std::vector<uint8_t> message(const AtCmdEntry* rows = nullptr) {
    static const AtCmdEntry kRows[] = {
        {0, handler, 30000, handler, 30000, handler, 30000, nullptr, 0, 92, 3, 7, "^WPDGL", 6, "(0-3)"},
        {0, handler, 100000000, handler, 30000, handler, 30000, handler, 30000, 92, 3, 8, "^IPOPEN", 0, nullptr},
        {},
    };
    const AtCmdEntry* table = rows != nullptr ? rows : kRows;
    const NlRegistrationSize size = nl_registration_size(table);
    std::vector<uint8_t> m(size.buffer_size, 0);
    m.resize(nl_build_registration(table, 0, 4242, m.data(), size.buffer_size));
    return m;
}

TEST(Registration, RefusesMalformedMessages) {
    struct Case {
        const char* what;
        std::function<void(std::vector<uint8_t>&)> spoil;
        atsim::RegistrationRules rules;
    } const cases[] = {
        {"wrong message type", [](auto& m) { m[4] = 2; }, {}},
        {"device id 2", [](auto& m) { put32(m, 16, 2); }, {}},
        {"nlmsg_len differs from what arrived", [](auto& m) { put32(m, 0, 10267); }, {}},
        {"truncated message", [](auto& m) { m.resize(m.size() - 1); put32(m, 0, static_cast<uint32_t>(m.size())); }, {}},
        {"table length not the expected one", [](auto&) {}, {std::nullopt, 5313}},
        {"record count not the expected one", [](auto&) {}, {81, std::nullopt}},
        {"table length cuts a record", [](auto& m) { put32(m, 24, 100); }, {}},
        {"table length past the records", [](auto& m) { put32(m, 24, 200); }, {}},
        {"index word not 0", [](auto& m) { put32(m, 28, 1); }, {}},
        {"name length 0", [](auto& m) { put32(m, 28 + 44, 0); }, {}},
        {"name length past the table", [](auto& m) { put32(m, 28 + 44, 5000); }, {}},
        {"name without its NUL", [](auto& m) { m[28 + 48 + 6] = 'X'; }, {}},
        {"name without ^", [](auto& m) { m[28 + 48] = 'W'; }, {}},
        {"byte after the name", [](auto& m) { m[28 + 48 + 7] = 1; }, {}},
        {"template length past the table", [](auto& m) { put32(m, 28 + 56, 0x10000); }, {}},
        {"template that does not parse", [](auto& m) { m[28 + 60 + 1] = 'x'; }, {}},
        {"template without its NUL", [](auto& m) { m[28 + 60 + 5] = ')'; }, {}},
        {"byte after the template", [](auto& m) { m[28 + 60 + 6] = 1; }, {}},
        {"non-zero fill", [](auto& m) { m.back() = 1; }, {}},
        {"header only", [](auto& m) { m.resize(27); }, {}},
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> m = message();
        c.spoil(m);
        std::string why;
        EXPECT_FALSE(atsim::parse_registration(m, c.rules, &why)) << c.what;
        EXPECT_FALSE(why.empty()) << c.what;
    }
}

TEST(Registration, RefusesNamesRegisteredTwiceIgnoringCase) {
    const AtCmdEntry rows[] = {
        {0, handler, 1, nullptr, 0, nullptr, 0, nullptr, 0, 92, 3, 7, "^WPDGL", 0, nullptr},
        {0, handler, 1, nullptr, 0, nullptr, 0, nullptr, 0, 92, 3, 7, "^WpDgL", 0, nullptr},
        {},
    };
    std::string why;
    EXPECT_TRUE(atsim::parse_registration(message(), {}, &why)) << why;
    EXPECT_FALSE(atsim::parse_registration(message(rows), {}, &why));
    EXPECT_NE(why.find("twice"), std::string::npos) << why;
}

std::vector<uint8_t> answer(uint32_t magic, int32_t ret, const std::string& text,
                            uint32_t m_length, size_t text_bytes_sent) {
    std::vector<uint8_t> d(16 + 24 + text_bytes_sent, 0);
    put32(d, 20, magic);
    put32(d, 28, 0xFFFFFFFF);
    put32(d, 32, static_cast<uint32_t>(ret));
    put32(d, 36, m_length);
    std::memcpy(&d[40], text.data(), std::min(text.size(), text_bytes_sent));
    return d;
}

TEST(Wire, DecodesAnswersAndNeverReadsPastTheDatagram) {
    std::string why;
    const std::string binary("\r\n^IPDATA: 1,3,a\0b\r\n", 18);
    auto a = driver_wire::decode_answer(answer(7, 0, binary, 18, 19), &why);
    ASSERT_TRUE(a) << why;
    EXPECT_EQ(a->magic, 7u);
    EXPECT_EQ(a->id, driver_wire::kLateFinalResult);
    EXPECT_EQ(a->text, binary);  // NUL bytes inside the text are kept
    EXPECT_FALSE(a->cut);
    EXPECT_EQ(driver_wire::render(*a), binary);

    // m_length past the datagram: the text is what arrived less the record's final NUL.
    a = driver_wire::decode_answer(answer(7, 0, "\r\nOK\r\n", 5000, 7), &why);
    ASSERT_TRUE(a);
    EXPECT_TRUE(a->cut);
    EXPECT_EQ(a->text, "\r\nOK\r\n");
    a = driver_wire::decode_answer(answer(7, 0, "\r\nOK\r\n", 6, 6), &why);  // NUL missing
    ASSERT_TRUE(a);
    EXPECT_TRUE(a->cut);
    EXPECT_EQ(a->text, "\r\nOK\r");

    a = driver_wire::decode_answer(answer(7, 0, "", 0xFFFFFFFF, 0), &why);
    ASSERT_TRUE(a);
    EXPECT_TRUE(a->cut);
    EXPECT_EQ(a->text, "");

    a = driver_wire::decode_answer(answer(7, 20, "", 0, 1), &why);
    ASSERT_TRUE(a);
    EXPECT_EQ(driver_wire::render(*a), "\r\n+CME ERROR: 20\r\n");
    a = driver_wire::decode_answer(answer(7, -3, "ignored", 7, 8), &why);
    ASSERT_TRUE(a);
    EXPECT_EQ(driver_wire::render(*a), "\r\n+CME ERROR: -3\r\n");

    EXPECT_FALSE(driver_wire::decode_answer(std::vector<uint8_t>(39, 0), &why));
}

}  // namespace

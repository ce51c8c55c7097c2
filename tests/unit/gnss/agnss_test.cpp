// Assisted-GNSS configuration: NV item 58 across ^AGPSTYPECFG and ^SUPLMODE, the TLS chunk rule,
// the server address, the AGNSS settings, the lock commands and the radio check of the tests.
#include <cstring>
#include <string>
#include <vector>

#include "fake_nv.h"
#include "gnss_fixture.h"
#include "nv_item.h"

namespace {

using namespace gnss_test;

class Agnss : public GnssTest {
  protected:
    void SetUp() override {
        GnssTest::SetUp();
        fake::nv().reset();
        G().radio(GPS_RADIO_ON);
    }
    static fake::Nv& N() { return fake::nv(); }
    // Item 58 with bytes 2.. holding a pattern that must survive every write.
    static std::vector<uint8_t> item(uint8_t type, uint8_t supl_mode) {
        std::vector<uint8_t> v(120);
        for (size_t i = 0; i < v.size(); ++i) {
            v[i] = static_cast<uint8_t>(i * 7 + 1);
        }
        v[0] = type;
        v[1] = supl_mode;
        return v;
    }
};

Answer set_text(const char* cmd, const std::vector<std::string>& texts,
                std::initializer_list<uint32_t> numbers = {}) {
    fake::RequestBytes req(cmd, NL_TYPE_SET);
    for (uint32_t n : numbers) {
        req.num(n);
    }
    for (const std::string& t : texts) {
        req.text(t);
    }
    return at_call(req, cmd, NL_TYPE_SET);
}

TEST_F(Agnss, TypeSetsLocksModeAndStoredCode) {
    const struct {
        uint32_t type;
        int32_t supl, lto;
        int32_t mode_fresh, mode_supl1;  // operating mode with SUPL mode 2 (byte 0) and 1
        uint8_t code;
    } cases[] = {
        {1, 1, 1, 0, 0, 1},
        {2, 0, 1, 5, 1, 2},
        {3, 1, 0, 0, 0, 3},
        {4, 0, 0, 5, 1, 0},
    };
    for (const auto& c : cases) {
        for (uint8_t supl_mode : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "type " << c.type << " byte 1 " << int(supl_mode));
            G().calls.clear();
            N().items[58] = item(0x55, supl_mode);
            EXPECT_EQ(at_set("^AGPSTYPECFG", {c.type}).text(), "\r\nOK\r\n");
            EXPECT_EQ(G().names(),
                      (std::vector<std::string>{"gpsclient_suplfeature", "gpsclient_ltofeature",
                                                "gpsclient_operateMode"}));
            EXPECT_EQ(G().calls[0].in, std::vector<int32_t>{c.supl});
            EXPECT_EQ(G().calls[1].in, std::vector<int32_t>{c.lto});
            EXPECT_EQ(G().calls[2].in,
                      std::vector<int32_t>{supl_mode == 0 ? c.mode_fresh : c.mode_supl1});
            EXPECT_EQ(N().items[58], item(c.code, supl_mode));
            EXPECT_EQ(at_query("^AGPSTYPECFG").text(),
                      "\r\n^AGPSTYPECFG: " + std::to_string(c.type) + "\r\n\r\nOK\r\n");
        }
    }
    // ^SUPLMODE rewrites byte 1 only and tells the client nothing by itself.
    N().items[58] = item(3, 0);
    G().calls.clear();
    EXPECT_EQ(at_set("^SUPLMODE", {1}).text(), "\r\nOK\r\n");
    EXPECT_EQ(N().items[58], item(3, 1));
    EXPECT_TRUE(G().calls.empty());
    EXPECT_EQ(at_set("^SUPLMODE", {2}).text(), "\r\nOK\r\n");
    EXPECT_EQ(N().items[58], item(3, 0));
}

// A call that succeeds may leave a number in its error word; the fake fails
// the test when a later call is handed that word unzeroed.
TEST_F(Agnss, EveryCallGetsAZeroedErrorWord) {
    G().on("gpsclient_suplfeature").err = 281;
    G().on("gpsclient_ltofeature").err = 282;
    N().items[58] = item(0, 0);
    EXPECT_EQ(at_set("^AGPSTYPECFG", {2}).text(), "\r\nOK\r\n");
    EXPECT_EQ(G().count("gpsclient_operateMode"), 1u);
}

// The results chosen where the behaviour is open: none of them writes the item.
TEST_F(Agnss, NvAndClientFailuresLeaveTheItem) {
    using Calls = std::vector<std::string>;
    const Calls all = {"gpsclient_suplfeature", "gpsclient_ltofeature", "gpsclient_operateMode"};
    const std::vector<uint8_t> before = item(1, 1);
    const struct {
        const char* cmd;
        uint32_t value;
        int32_t nv_read, nv_write;
        const char* failing_call;
        int32_t ret, retenum;
        Calls calls;
    } cases[] = {
        {"^AGPSTYPECFG", 2, -1, 0, nullptr, -1, 20, {}},
        {"^AGPSTYPECFG", 5, 0, 0, nullptr, -1, 92, {}},
        {"^AGPSTYPECFG", 2, 0, 0, "gpsclient_suplfeature", -1, 94, {all[0]}},
        {"^AGPSTYPECFG", 2, 0, 0, "gpsclient_ltofeature", -1, 94, {all[0], all[1]}},
        {"^AGPSTYPECFG", 2, 0, 0, "gpsclient_operateMode", 0, 94, all},
        {"^AGPSTYPECFG", 2, 0, -1, nullptr, -1, 20, all},
        {"^SUPLMODE", 2, 0, 5, nullptr, -1, 20, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.cmd << " " << c.value << " " << (c.failing_call ? c.failing_call : "NV"));
        G().reset();
        N().reset();
        N().items[58] = before;
        N().read_result = c.nv_read;
        N().write_result = c.nv_write;
        if (c.failing_call != nullptr) {
            G().fail(c.failing_call, 283);
        }
        EXPECT_TRUE(failed_with(at_set(c.cmd, {c.value}), c.ret, c.retenum));
        EXPECT_EQ(G().names(), c.calls);
        EXPECT_EQ(N().items[58], before);
    }
}

// ^WPTLS=<tls_len>,<index>,<chunk>; the chunk typed without quotes.
Answer tls(uint32_t tls_len, uint32_t index, const std::string& chunk) {
    return set_text("^WPTLS", {chunk}, {tls_len, index});
}

TEST_F(Agnss, TlsChunkLengthRule) {
    const struct {
        uint32_t tls_len, index;
        size_t length;
        bool ok;
    } cases[] = {
        {650, 3, 300, false}, {650, 2, 50, false}, {600, 3, 300, true},
        {600, 3, 0, false},   {650, 4, 7, true},  // past the last chunk: the client's to judge
        {50, 0, 50, false},   {50, 1, 300, false}, {3000, 10, 300, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.tls_len << "," << c.index << " length " << c.length);
        G().reset();
        const Answer a = tls(c.tls_len, c.index, std::string(c.length, 'k'));
        if (c.ok) {
            EXPECT_EQ(a.text(), "\r\nOK\r\n");
            EXPECT_EQ(G().count("gpsclient_TLSCFG"), 1u);
        } else {
            EXPECT_TRUE(failed_with(a, -1, 92));
            EXPECT_TRUE(G().calls.empty());
        }
    }
}

// The client's answer to a TLS read: tls_len, chunks held, text.
std::string tls_record(uint32_t tls_len, uint32_t chunks, const std::string& text,
                       uint16_t length) {
    GpsTlsCfg r{};
    r.tls_len = tls_len;
    r.index = chunks;
    std::memcpy(r.data, text.data(), std::min(text.size(), sizeof r.data));
    r.length = length;
    return std::string(reinterpret_cast<const char*>(&r), sizeof r);
}

TEST_F(Agnss, TlsQueryTrustsTheClientOnlyToTheRecord) {
    G().on("gpsclient_TLSCFG").text = tls_record(0, 0, "", 0);
    EXPECT_EQ(at_query("^WPTLS").text(), "\r\nOK\r\n");

    // A client that claims more than the record holds gives ten full lines.
    G().on("gpsclient_TLSCFG").text = tls_record(3000, 12, std::string(3000, 'x'), 4000);
    std::string ten;
    for (int i = 1; i <= 10; ++i) {
        ten += "\r\n^WPTLS: 3000," + std::to_string(i) + ",\"" + std::string(300, 'x') + "\"\r\n";
    }
    const Answer a = at_query("^WPTLS");
    EXPECT_EQ(a.text(), ten + "\r\nOK\r\n");
    EXPECT_EQ(a.rsp.m_length, a.text().size());

    G().fail("gpsclient_TLSCFG", 285);
    EXPECT_TRUE(failed_with(at_query("^WPTLS"), 0, 96));
}

TEST_F(Agnss, ServerAddress) {
    const std::string a128(128, 'h');
    const struct {
        std::string typed;
        bool ok;
        std::string passed;
    } cases[] = {
        {"\"supl.example.net:7275\"", true, "supl.example.net:7275"},
        {"\"\"", true, ""},
        {"\"" + a128 + "\"", true, a128},
        {a128, true, a128},
        {a128 + "h", false, ""},
        {"\"" + a128, false, ""},  // not quoted, so 129 characters
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        G().reset();
        const Answer a = set_text("^WPURL", {c.typed});
        if (c.ok) {
            EXPECT_EQ(a.text(), "\r\nOK\r\n");
            ASSERT_EQ(G().count("gpsclient_WPURL"), 1u);
            EXPECT_EQ(G().last("gpsclient_WPURL")->text, c.passed);
            EXPECT_EQ(G().last("gpsclient_WPURL")->length, static_cast<int32_t>(c.passed.size()));
        } else {
            EXPECT_TRUE(failed_with(a, -1, 92));
            EXPECT_TRUE(G().calls.empty());
        }
    }
    EXPECT_EQ(set_text("^WPURL", {}).rsp.m_retenum, 20);
    EXPECT_EQ(set_text("^WPURL", {"a", "b"}).rsp.m_retenum, 96);

    G().on("gpsclient_WPURL").text = std::string(200, 'u');  // no NUL within 129 bytes
    EXPECT_EQ(at_query("^WPURL").text(), "\r\n^WPURL: " + std::string(128, 'u') + "\r\n\r\nOK\r\n");
    G().fail("gpsclient_WPURL", 279);
    EXPECT_EQ(at_query("^WPURL").rsp.m_retenum, 91);
}

// Every one-value command: count rule, and a failed client call answers the error word.
TEST_F(Agnss, CountRuleAndClientFailures) {
    for (const char* cmd : {"^SUPLOCK", "^LTOLOCK", "^INJTIMELOCK", "^AGPSTYPECFG", "^SUPLMODE"}) {
        SCOPED_TRACE(cmd);
        G().reset();
        EXPECT_TRUE(failed_with(at_set(cmd, {}), -1, 20));
        EXPECT_TRUE(failed_with(at_set(cmd, {1, 1}), -1, 96));
        EXPECT_TRUE(G().calls.empty());
    }
    EXPECT_EQ(N().writes(), 0u);
    for (const char* fn : {"gpsclient_suplfeature", "gpsclient_ltofeature",
                           "gpsclient_injRefTimeFeature", "gpsclient_AGNSSCFG"}) {
        G().fail(fn, 284);
    }
    for (const char* cmd : {"^SUPLOCK", "^LTOLOCK", "^INJTIMELOCK"}) {
        SCOPED_TRACE(cmd);
        EXPECT_TRUE(failed_with(at_set(cmd, {0}), 0, 95));
        EXPECT_TRUE(failed_with(at_query(cmd), 0, 95));
    }
    EXPECT_TRUE(failed_with(at_set("^AGNSSCFG", {1, 1, 1, 0}), 0, 95));
}

}  // namespace

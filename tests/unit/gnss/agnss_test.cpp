// Assisted-GNSS configuration: NV item 58 across ^AGPSTYPECFG and ^SUPLMODE, the error words, the
// server address, a TLS read the client overstates and the last chunk an upload may have.
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
    const Answer failed = at_query("^WPTLS");
    EXPECT_EQ(failed.ret, 0);
    EXPECT_EQ(failed.rsp.m_retenum, 96);
    EXPECT_EQ(failed.rsp.m_length, 0u);
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
            EXPECT_EQ(a.ret, -1);
            EXPECT_EQ(a.rsp.m_retenum, 92);
            EXPECT_TRUE(G().calls.empty());
        }
    }
    EXPECT_EQ(set_text("^WPURL", {}).rsp.m_retenum, 20);
    EXPECT_EQ(set_text("^WPURL", {"a", "b"}).rsp.m_retenum, 96);
}

// An LTO upload may have 320 chunks: the last of them is taken.
TEST_F(Agnss, LastOfTheMostLtoChunksIsTaken) {
    EXPECT_EQ(set_text("^LTODATA", {"320", "320", "\"0aff\"", "4", "1"}).text(), "\r\nOK\r\n");
    const Answer beyond = set_text("^LTODATA", {"321", "321", "\"0aff\"", "4", "1"});
    EXPECT_EQ(beyond.rsp.m_retenum, 92);
    EXPECT_EQ(G().count("gpsclient_LTOdata"), 1u);
}

// A query hands the client its values as 0 (the fake fails a get that is
// handed anything else), so a failed get leaves 0.
TEST_F(Agnss, QueriesHandTheirValuesOverAsZero) {
    G().on("gpsclient_freqAndInterval").out = {5, 2};
    EXPECT_EQ(at_query("^WPDFR").text(), "\r\n^WPDFR: 5,2\r\n\r\nOK\r\n");
}

// The daemon checks itself what the driver's templates refuse already.
TEST_F(Agnss, ValuesTheTemplatesRefuseAreRefusedAgain) {
    EXPECT_EQ(at_set("^SUPLACAP", {2}).rsp.m_retenum, 20);
    EXPECT_EQ(at_set("^WPDNM", {3, 4}).rsp.m_retenum, 96);
    EXPECT_EQ(at_set("^SUPLMODE", {1, 2}).rsp.m_retenum, 96);
    EXPECT_EQ(G().count("gpsclient_anyData"), 0u);
}

}  // namespace

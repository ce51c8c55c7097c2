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
            const Answer a = at_set("^AGPSTYPECFG", {c.type});
            EXPECT_EQ(a.ret, 0);
            EXPECT_EQ(a.text(), "\r\nOK\r\n");
            EXPECT_EQ(G().names(), (std::vector<std::string>{
                                       "gpsclient_suplfeature", "gpsclient_ltofeature",
                                       "gpsclient_operateMode"}));
            EXPECT_EQ(G().calls[0].in, std::vector<int32_t>{c.supl});
            EXPECT_EQ(G().calls[1].in, std::vector<int32_t>{c.lto});
            EXPECT_EQ(G().calls[2].in,
                      std::vector<int32_t>{supl_mode == 0 ? c.mode_fresh : c.mode_supl1});
            for (const fake::GpsCall& call : G().calls) {
                EXPECT_EQ(call.op, 1);
            }
            std::vector<uint8_t> want = item(c.code, supl_mode);
            EXPECT_EQ(N().items[58], want);
            EXPECT_EQ(at_query("^AGPSTYPECFG").text(),
                      "\r\n^AGPSTYPECFG: " + std::to_string(c.type) + "\r\n\r\nOK\r\n");
        }
    }
    EXPECT_TRUE(P().traced("AT_GPS_SetAgpstypeFeature type is 4\r\n"));
    EXPECT_TRUE(P().traced("AT_GPS_SetAgpstypeFeature mode is 1\r\n"));
}

TEST_F(Agnss, FreshItemReadsTypeFourAndModeTwo) {
    EXPECT_EQ(at_query("^AGPSTYPECFG").text(), "\r\n^AGPSTYPECFG: 4\r\n\r\nOK\r\n");
    EXPECT_EQ(at_query("^SUPLMODE").text(), "\r\n^SUPLMODE: 2\r\n\r\nOK\r\n");
    EXPECT_EQ(N().writes(), 0u);
    ASSERT_EQ(N().calls.size(), 2u);
    EXPECT_EQ(N().calls[0].item, 58u);
    EXPECT_EQ(N().calls[0].size, 120u);
    EXPECT_TRUE(G().calls.empty());
}

TEST_F(Agnss, SuplModeDecidesTheNextTypeSet) {
    N().items[58] = item(3, 0);
    EXPECT_EQ(at_set("^SUPLMODE", {1}).text(), "\r\nOK\r\n");
    EXPECT_EQ(N().items[58], item(3, 1));
    EXPECT_EQ(at_query("^SUPLMODE").text(), "\r\n^SUPLMODE: 1\r\n\r\nOK\r\n");
    EXPECT_TRUE(G().calls.empty()) << "the client learns the mode only through a type set";
    at_set("^AGPSTYPECFG", {2});
    EXPECT_EQ(G().last("gpsclient_operateMode")->in, std::vector<int32_t>{1});

    EXPECT_EQ(at_set("^SUPLMODE", {2}).text(), "\r\nOK\r\n");
    EXPECT_EQ(N().items[58][1], 0);
    EXPECT_EQ(at_query("^SUPLMODE").text(), "\r\n^SUPLMODE: 2\r\n\r\nOK\r\n");
    at_set("^AGPSTYPECFG", {4});
    EXPECT_EQ(G().last("gpsclient_operateMode")->in, std::vector<int32_t>{5});
    EXPECT_TRUE(P().traced("AT_GPS_SetSuplmode mode is 2\r\n"));
    EXPECT_TRUE(P().traced("AT_GPS_ReadSuplmode mode is 2\r\n"));
}

TEST_F(Agnss, TypeSetFailuresLeaveTheItem) {
    const std::vector<uint8_t> before = item(1, 1);
    const struct {
        const char* what;
        uint32_t type;
        int32_t nv_read, nv_write;
        const char* failing_call;
        int32_t ret, retenum;
        std::vector<std::string> calls;
        const char* trace;
    } cases[] = {
        {"NV read", 2, -1, 0, nullptr, -1, 20, {}, "NV READ NV_Item_GPS_AGPSTYPECFG fail \r\n"},
        {"type 0", 0, 0, 0, nullptr, -1, 92, {}, "AT_GPS_SetAgpstypeFeature error type is 0\r\n"},
        {"type 5", 5, 0, 0, nullptr, -1, 92, {}, "AT_GPS_SetAgpstypeFeature error type is 5\r\n"},
        {"SUPL lock", 2, 0, 0, "gpsclient_suplfeature", -1, 94, {"gpsclient_suplfeature"},
         "AT_GPS_SetAgpstypeFeature set supl lock failed!\r\n"},
        {"LTO lock", 2, 0, 0, "gpsclient_ltofeature", -1, 94,
         {"gpsclient_suplfeature", "gpsclient_ltofeature"},
         "AT_GPS_SetAgpstypeFeature set lto lock failed!\r\n"},
        {"operating mode", 2, 0, 0, "gpsclient_operateMode", 0, 94,
         {"gpsclient_suplfeature", "gpsclient_ltofeature", "gpsclient_operateMode"},
         "AT_GPS_SetAgpstypeFeature mode is 1\r\n"},
        {"NV write", 2, 0, -1, nullptr, -1, 20,
         {"gpsclient_suplfeature", "gpsclient_ltofeature", "gpsclient_operateMode"},
         "NV write NV_Item_GPS_AGPSTYPECFG fail \r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        P().reset();
        G().reset();
        N().reset();
        N().items[58] = before;
        N().read_result = c.nv_read;
        N().write_result = c.nv_write;
        if (c.failing_call != nullptr) {
            G().fail(c.failing_call, 283);
        }
        const Answer a = at_set("^AGPSTYPECFG", {c.type});
        EXPECT_TRUE(failed_with(a, c.ret, c.retenum));
        EXPECT_EQ(G().names(), c.calls);
        EXPECT_EQ(N().items[58], before);
        EXPECT_TRUE(P().traced(c.trace));
    }
}

TEST_F(Agnss, SuplModeAndQueryNvFailures) {
    N().items[58] = item(2, 1);
    N().read_result = 5;
    const Answer set = at_set("^SUPLMODE", {2});
    EXPECT_EQ(set.ret, -1);
    EXPECT_EQ(set.rsp.m_retenum, 20);
    EXPECT_EQ(N().writes(), 0u);
    EXPECT_TRUE(P().traced("NV READ NV_Item_GPS_AGPSTYPECFG fail \r\n"));
    for (const char* cmd : {"^SUPLMODE", "^AGPSTYPECFG"}) {
        P().reset();
        const Answer q = at_query(cmd);
        EXPECT_TRUE(failed_with(q, -1, 20));
        EXPECT_TRUE(P().traced("NV_Read NV_Item_GPS_AGPSTYPECFG fail \r\n"));
    }
    N().read_result = 0;
    N().write_result = 5;
    const Answer w = at_set("^SUPLMODE", {2});
    EXPECT_EQ(w.ret, -1);
    EXPECT_EQ(w.rsp.m_retenum, 20);
    EXPECT_EQ(N().items[58], item(2, 1));
    EXPECT_TRUE(P().traced("NV write NV_Item_GPS_AGPSTYPECFG fail \r\n"));
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
        {650, 1, 300, true},  {650, 2, 300, true},  {650, 3, 50, true},
        {650, 3, 49, false},  {650, 3, 300, false}, {650, 2, 50, false},
        {650, 4, 7, true},    // past the last chunk: the client's to judge
        {600, 1, 300, true},  {600, 2, 300, true},  {600, 3, 300, true},
        {600, 7, 300, true},  {600, 2, 299, false}, {600, 3, 0, false},
        {50, 1, 50, true},    {50, 0, 50, false},   {50, 1, 300, false},
        {300, 1, 300, true},  {3000, 10, 300, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.tls_len << "," << c.index << " length " << c.length);
        G().reset();
        P().reset();
        const Answer a = tls(c.tls_len, c.index, std::string(c.length, 'k'));
        if (c.ok) {
            EXPECT_EQ(a.text(), "\r\nOK\r\n");
            ASSERT_EQ(G().count("gpsclient_TLSCFG"), 1u);
        } else {
            EXPECT_TRUE(failed_with(a, -1, 92));
            EXPECT_TRUE(P().traced("TLS data length error!\r\n"));
            EXPECT_TRUE(G().calls.empty());
        }
    }
}

TEST_F(Agnss, TlsRecordAndCounts) {
    tls(650, 3, std::string(50, 'z'));
    const fake::GpsCall* c = G().last("gpsclient_TLSCFG");
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->op, 1);
    ASSERT_EQ(c->text.size(), 3012u);
    GpsTlsCfg rec;
    std::memcpy(&rec, c->text.data(), sizeof rec);
    EXPECT_EQ(rec.tls_len, 650u);
    EXPECT_EQ(rec.index, 3u);
    EXPECT_EQ(rec.length, 50);
    EXPECT_EQ(c->text.substr(8, 50), std::string(50, 'z'));
    EXPECT_EQ(c->text.substr(58, 2950), std::string(2950, '\0'));
    EXPECT_EQ(c->text.substr(3010), std::string(2, '\0'));
    EXPECT_TRUE(P().traced("AT_GPS_SetTlsCert: tls_len (650), index (3), length (50)!\r\n"));

    // No certificate: one parameter sends an all-zero record.
    EXPECT_EQ(at_set("^WPTLS", {0}).text(), "\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_TLSCFG")->text, std::string(3012, '\0'));

    const struct {
        Answer a;
        int32_t retenum;
        const char* trace;
    } refused[] = {
        {at_set("^WPTLS", {}), 20, "not enough params!\r\n"},
        {at_set("^WPTLS", {0, 1}), 96, "too many params!\r\n"},
        {at_set("^WPTLS", {650, 1}), 92, "params number error!\r\n"},
        {set_text("^WPTLS", {"k", "k"}, {650, 1}), 92, "params number error!\r\n"},
        {tls(650, 1, std::string(301, 'k')), 92, "TLS length is too long!\r\n"},
        // Quotes typed with the chunk count as characters.
        {tls(650, 3, "\"" + std::string(50, 'k') + "\""), 92, "TLS data length error!\r\n"},
    };
    for (const auto& r : refused) {
        SCOPED_TRACE(r.trace);
        EXPECT_TRUE(failed_with(r.a, -1, r.retenum));
        EXPECT_TRUE(P().traced(r.trace));
    }
    EXPECT_EQ(G().count("gpsclient_TLSCFG"), 2u);
}

// The client's answer to a TLS read: tls_len, chunks held, text.
std::string tls_record(uint32_t tls_len, uint32_t chunks, const std::string& text, uint16_t length) {
    GpsTlsCfg r{};
    r.tls_len = tls_len;
    r.index = chunks;
    std::memcpy(r.data, text.data(), std::min(text.size(), sizeof r.data));
    r.length = length;
    return std::string(reinterpret_cast<const char*>(&r), sizeof r);
}

TEST_F(Agnss, TlsQueryRebuildsTheChunkLines) {
    const std::string cert = std::string(300, 'a') + std::string(300, 'b') + std::string(50, 'c');
    G().on("gpsclient_TLSCFG").text = tls_record(650, 3, cert, 650);
    const Answer a = at_query("^WPTLS");
    EXPECT_EQ(a.text(), "\r\n^WPTLS: 650,1,\"" + std::string(300, 'a') + "\"\r\n" +
                            "\r\n^WPTLS: 650,2,\"" + std::string(300, 'b') + "\"\r\n" +
                            "\r\n^WPTLS: 650,3,\"" + std::string(50, 'c') + "\"\r\n\r\nOK\r\n");
    EXPECT_EQ(a.rsp.m_length, a.text().size());
    EXPECT_EQ(G().last("gpsclient_TLSCFG")->op, 2);
    EXPECT_EQ(G().last("gpsclient_TLSCFG")->text, std::string(3012, '\0')) << "a zeroed record";

    G().on("gpsclient_TLSCFG").text = tls_record(0, 0, "", 0);
    EXPECT_EQ(at_query("^WPTLS").text(), "\r\nOK\r\n");

    // A client that claims more than the record holds gives ten full lines.
    G().on("gpsclient_TLSCFG").text = tls_record(3000, 12, std::string(3000, 'x'), 4000);
    std::string ten;
    for (int i = 1; i <= 10; ++i) {
        ten += "\r\n^WPTLS: 3000," + std::to_string(i) + ",\"" + std::string(300, 'x') + "\"\r\n";
    }
    EXPECT_EQ(at_query("^WPTLS").text(), ten + "\r\nOK\r\n");

    G().fail("gpsclient_TLSCFG", 285);
    const Answer failed = at_query("^WPTLS");
    EXPECT_TRUE(failed_with(failed, 0, 96));
}

TEST_F(Agnss, ServerAddress) {
    const std::string a128(128, 'h');
    const struct {
        std::string typed;
        bool ok;
        std::string passed;
    } cases[] = {
        {"\"supl.example.net:7275\"", true, "supl.example.net:7275"},
        {"supl.example.net:7275", true, "supl.example.net:7275"},
        {"\"\"", true, ""},
        {"\"" + a128 + "\"", true, a128},
        {a128, true, a128},
        {"\"" + a128 + "h\"", false, ""},
        {a128 + "h", false, ""},
        {"\"" + a128, false, ""},  // not quoted, so 129 characters
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        G().reset();
        P().reset();
        const Answer a = set_text("^WPURL", {c.typed});
        if (c.ok) {
            EXPECT_EQ(a.text(), "\r\nOK\r\n");
            ASSERT_EQ(G().count("gpsclient_WPURL"), 1u);
            EXPECT_EQ(G().last("gpsclient_WPURL")->op, 1);
            EXPECT_EQ(G().last("gpsclient_WPURL")->text, c.passed);
            EXPECT_EQ(G().last("gpsclient_WPURL")->length, static_cast<int32_t>(c.passed.size()));
            EXPECT_EQ(P().traced("AT_GPS_SetServerAddr data has quoted"), c.typed[0] == '"');
        } else {
            EXPECT_TRUE(failed_with(a, -1, 92));
            EXPECT_TRUE(G().calls.empty());
        }
    }
    EXPECT_EQ(set_text("^WPURL", {}).rsp.m_retenum, 20);
    EXPECT_EQ(set_text("^WPURL", {"a", "b"}).rsp.m_retenum, 96);

    G().on("gpsclient_WPURL").text = "supl.example.net";
    EXPECT_EQ(at_query("^WPURL").text(), "\r\n^WPURL: supl.example.net\r\n\r\nOK\r\n");
    EXPECT_EQ(G().last("gpsclient_WPURL")->length, 0);
    G().on("gpsclient_WPURL").text = std::string(200, 'u');  // no NUL within 129 bytes
    EXPECT_EQ(at_query("^WPURL").text(), "\r\n^WPURL: " + std::string(128, 'u') + "\r\n\r\nOK\r\n");
    G().fail("gpsclient_WPURL", 279);
    EXPECT_EQ(at_query("^WPURL").rsp.m_retenum, 91);
}

TEST_F(Agnss, AgnssSettings) {
    const struct {
        std::initializer_list<uint32_t> values;
        bool ok;
    } cases[] = {
        {{1, 1, 1, 0}, true}, {{1, 1, 2, 1}, true},  {{0, 1, 1, 0}, false},
        {{1, 2, 1, 0}, false}, {{1, 1, 3, 0}, false}, {{1, 1, 0, 0}, false},
        {{1, 1, 1, 2}, false},
    };
    for (const auto& c : cases) {
        G().reset();
        const Answer a = at_set("^AGNSSCFG", c.values);
        if (c.ok) {
            EXPECT_EQ(a.text(), "\r\nOK\r\n");
            EXPECT_EQ(G().last("gpsclient_AGNSSCFG")->in, std::vector<int32_t>(c.values.begin(), c.values.end()));
        } else {
            EXPECT_EQ(a.ret, -1);
            EXPECT_EQ(a.rsp.m_retenum, 92);
            EXPECT_TRUE(G().calls.empty());
        }
    }
    EXPECT_TRUE(P().traced("AT_GPS_SetAGNSSCFG: asystem 1,transport_mode 1,supl_ver 2,sec_mode 1!\r\n"));
    EXPECT_EQ(at_set("^AGNSSCFG", {1, 1, 1}).rsp.m_retenum, 20);
    EXPECT_EQ(at_set("^AGNSSCFG", {1, 1, 1, 0, 0}).rsp.m_retenum, 96);

    G().on("gpsclient_AGNSSCFG").out = {1, 1, 2, 0};
    EXPECT_EQ(at_query("^AGNSSCFG").text(), "\r\n^AGNSSCFG: 1,1,2,0\r\n\r\nOK\r\n");
    G().fail("gpsclient_AGNSSCFG", 277);
    const Answer f = at_set("^AGNSSCFG", {1, 1, 1, 0});
    EXPECT_EQ(f.ret, 0);
    EXPECT_EQ(f.rsp.m_retenum, 89);
}

TEST_F(Agnss, LockCommands) {
    const struct {
        const char* cmd;
        const char* fn;
        const char* set_failed;
        const char* query_failed;
    } locks[] = {
        {"^SUPLOCK", "gpsclient_suplfeature", nullptr, nullptr},
        {"^LTOLOCK", "gpsclient_ltofeature", nullptr, nullptr},
        {"^INJTIMELOCK", "gpsclient_injRefTimeFeature",
         "AT_GPS_SetInjRefTimeFeature: Reftime Inj failed!\r\n",
         "AT_GPS_ReadInjRefTimeFeature: Read injtime failed!\r\n"},
    };
    for (const auto& l : locks) {
        SCOPED_TRACE(l.cmd);
        G().reset();
        P().reset();
        EXPECT_EQ(at_set(l.cmd, {1}).text(), "\r\nOK\r\n");
        EXPECT_EQ(G().last(l.fn)->op, 1);
        EXPECT_EQ(G().last(l.fn)->in, std::vector<int32_t>{1});
        G().on(l.fn).out = {1};
        EXPECT_EQ(at_query(l.cmd).text(), std::string("\r\n") + l.cmd + ": 1\r\n\r\nOK\r\n");
        EXPECT_EQ(G().last(l.fn)->op, 2);
        G().fail(l.fn, 284);
        const Answer s = at_set(l.cmd, {0});
        EXPECT_EQ(s.ret, 0);
        EXPECT_EQ(s.rsp.m_retenum, 95);
        const Answer q = at_query(l.cmd);
        EXPECT_EQ(q.ret, 0);
        EXPECT_EQ(q.rsp.m_retenum, 95);
        if (l.set_failed != nullptr) {
            EXPECT_TRUE(P().traced(l.set_failed));
            EXPECT_TRUE(P().traced(l.query_failed));
        }
    }
    fake::RequestBytes req("^SUPLOCK", NL_TYPE_SET);
    req.num(0);
    std::memcpy(req.data() + 84 + 4, "0", 1);  // the digits as typed
    at_call(req, "^SUPLOCK", NL_TYPE_SET);
    EXPECT_TRUE(P().traced("AT_GPS_SetSuplFeature ulParaValue is 0\r\n"));
    EXPECT_TRUE(P().traced("AT_GPS_SetSuplFeature aucPara is 0\r\n"));

    const struct {
        const char* cmd;
        const char* none;
        const char* over;
    } counts[] = {
        {"^SUPLOCK", "not enough params!\r\n", "too many params!\r\n"},
        {"^LTOLOCK", "not enough params!\r\n", "too many params!\r\n"},
        {"^INJTIMELOCK", "AT_GPS_SetInjRefTimeFeature: The param is not support!\r\n",
         "AT_GPS_SetInjRefTimeFeature: The param is too many!\r\n"},
        {"^AGPSTYPECFG", "not enough params!\r\n", "too many params!\r\n"},
        {"^SUPLMODE", "not enough params!\r\n", "too many params!\r\n"},
    };
    for (const auto& c : counts) {
        SCOPED_TRACE(c.cmd);
        G().reset();
        P().reset();
        const Answer none = at_set(c.cmd, {});
        EXPECT_EQ(none.ret, -1);
        EXPECT_EQ(none.rsp.m_retenum, 20);
        const Answer over = at_set(c.cmd, {1, 1});
        EXPECT_EQ(over.ret, -1);
        EXPECT_EQ(over.rsp.m_retenum, 96);
        EXPECT_TRUE(P().traced(c.none));
        EXPECT_TRUE(P().traced(c.over));
        EXPECT_TRUE(G().calls.empty());
    }
    EXPECT_EQ(N().writes(), 0u);
}

TEST_F(Agnss, TestOperationsCheckTheRadio) {
    const std::pair<const char*, const char*> cases[] = {
        {"^AGNSSCFG", "\r\n^AGNSSCFG: 1,1,(1,2),(0,1)\r\n\r\nOK\r\n"},
        {"^AGPSTYPECFG", "\r\n^AGPSTYPECFG: (1-4)\r\n\r\nOK\r\n"},
        {"^SUPLMODE", "\r\n^SUPLMODE: (1-2)\r\n\r\nOK\r\n"},
        {"^SUPLOCK", "\r\n^SUPLOCK: (0-1)\r\n\r\nOK\r\n"},
        {"^LTOLOCK", "\r\n^LTOLOCK: (0-1)\r\n\r\nOK\r\n"},
        {"^INJTIMELOCK", "\r\n^INJTIMELOCK: (0-1)\r\n\r\nOK\r\n"},
    };
    for (const auto& [cmd, text] : cases) {
        SCOPED_TRACE(cmd);
        G().reset();
        P().reset();
        G().radio(7);  // anything but off
        EXPECT_EQ(at_test(cmd).text(), text);
        G().radio(GPS_RADIO_OFF);
        const Answer off = at_test(cmd);
        EXPECT_TRUE(failed_with(off, 0, 88));
        G().fail("gpsclient_WPCAP", 278);
        const Answer failed = at_test(cmd);
        EXPECT_TRUE(failed_with(failed, -1, 90));
        EXPECT_EQ(G().names(), std::vector<std::string>(3, "gpsclient_WPCAP"));
        const bool inj = std::string(cmd) == "^INJTIMELOCK";
        EXPECT_EQ(P().traced("AT_GPS_TestInjRefTimeFeature: Gps is disabled!\r\n"), inj);
        EXPECT_EQ(P().traced("AT_GPS_TestInjRefTimeFeature: Wpcap is failed!\r\n"), inj);
    }
}

}  // namespace

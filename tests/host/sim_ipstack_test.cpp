// The simulated IP stack: its answers, its state across commands, the events it raises, told
// failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "host_test_support.h"
#include "ipstack.h"
#include "sim_ipstack.h"

namespace {

struct Raised {
    uint32_t event;
    NotifySlot slot;
    std::vector<uint8_t> record;

    template <typename T>
    T as() const {
        T r{};
        EXPECT_EQ(record.size(), sizeof r);
        memcpy(&r, record.data(), std::min(sizeof r, record.size()));
        return r;
    }
};

std::vector<Raised> g_raised;

int32_t record_event(const NotifyEvent& e) {
    EXPECT_EQ(e.module, 62u);
    EXPECT_EQ(e.layout, NotifyLayout::PtrLen);
    const auto* p = static_cast<const uint8_t*>(e.payload);
    g_raised.push_back({e.event, e.slot, std::vector<uint8_t>(p, p + e.len)});
    return 0;
}

using Exec = int32_t (*)(AtRequest*, AtResponse*);

struct Outcome {
    int32_t rc;
    int32_t retenum;
    std::string text;  // m_length bytes
};

class SimIpstack : public ::testing::Test {
  protected:
    void SetUp() override {
        test_run_dir();
        unsetenv("TANDREL_SIM_IPSTACK_FAIL");
        sim_ipstack_reset();
        sim_ipstack_set_raise(record_event);
        g_raised.clear();
    }
    void TearDown() override {
        sim_ipstack_set_raise(nullptr);
        sim_ipstack_reset();
    }

    // Runs one operation with parameters as a terminal types them: every
    // parameter of these untemplated commands arrives as text.
    Outcome at(Exec fn, uint32_t type, const std::vector<std::string>& params = {},
               uint32_t port = 0) {
        auto req = std::make_unique<AtRequest>();
        auto rsp = std::make_unique<AtResponse>();
        *req = AtRequest{};
        *rsp = AtResponse{};
        req->m_uindex = port;
        req->m_type = type;
        req->m_para_count = static_cast<uint32_t>(params.size());
        for (size_t i = 0; i < params.size(); ++i) {
            AtCmdParam& p = req->m_para_list[i];
            memcpy(p.aucPara, params[i].data(), params[i].size());
            p.usParaLen = static_cast<uint16_t>(params[i].size());
        }
        const int32_t rc = fn(req.get(), rsp.get());
        return {rc, rsp->m_retenum, std::string(rsp->m_buffer, rsp->m_length)};
    }
    Outcome set(Exec fn, const std::vector<std::string>& params, uint32_t port = 0) {
        return at(fn, NL_TYPE_SET, params, port);
    }
    void expect_ok(const Outcome& o, const std::string& text = "\r\nOK\r\n") {
        EXPECT_EQ(o.rc, 0);
        EXPECT_EQ(o.retenum, 0);
        EXPECT_EQ(o.text, text);
    }
    void open_link(const char* host = "\"192.0.2.7\"", uint32_t port = 0) {
        expect_ok(set(ipstack_at_exec_ipinit_cmd, {"\"internet\""}, port));
        expect_ok(set(ipstack_at_exec_ipopen_cmd, {"1", "\"TCP\"", host, "7"}, port));
        g_raised.clear();
    }
};

TEST_F(SimIpstack, RefusalsCarryTheirNumbers) {
    struct Case {
        const char* what;
        Exec fn;
        std::vector<std::string> params;
        int32_t retenum;
    };
    const Case before_init[] = {
        {"open before init", ipstack_at_exec_ipopen_cmd, {"1", "\"TCP\"", "\"h\"", "7"}, 3},
        {"send on a closed link", ipstack_at_exec_ipsend_cmd, {"1", "\"x\""}, 3},
        {"link 6", ipstack_at_exec_ipclose_cmd, {"6"}, 50},
        {"protocol", ipstack_at_exec_ipopen_cmd, {"1", "\"SCTP\"", "\"h\"", "7"}, 50},
        {"odd hex", ipstack_at_exec_ipsendex_cmd, {"1", "\"0\""}, 50},
        {"transparent mode", ipstack_at_exec_ipentrans_cmd, {"1"}, 4},
        {"SSL link without SSL", ipstack_at_exec_sslo_cmd, {"\"h\"", "443"}, 3},
    };
    for (const Case& c : before_init) {
        SCOPED_TRACE(c.what);
        const Outcome o = set(c.fn, c.params);
        EXPECT_EQ(o.rc, -1);
        EXPECT_EQ(o.retenum, c.retenum);
        EXPECT_EQ(o.text, "");
    }
    // A host that does not answer fails without a number of its own.
    expect_ok(set(ipstack_at_exec_ipinit_cmd, {"\"internet\""}));
    const Outcome o =
        set(ipstack_at_exec_ipopen_cmd, {"2", "\"UDP\"", "\"unreachable.test\"", "9"});
    EXPECT_EQ(o.rc, -1);
    EXPECT_EQ(o.retenum, 0);
    EXPECT_TRUE(g_raised.empty());
}

TEST_F(SimIpstack, BufferedDataIsAnnouncedOnceAndReadWithItsLength) {
    open_link();
    expect_ok(set(ipstack_at_exec_ipcfl_cmd, {"5", "1"}));
    expect_ok(set(ipstack_at_exec_ipsendex_cmd, {"1", "\"610062\""}), "");
    expect_ok(set(ipstack_at_exec_ipsend_cmd, {"1", "\"cd\""}), "\r\n^IPSEND: 1\r\n\r\nOK\r\n");
    // The late result of ^IPSENDEX, then one arrival notice for both sends.
    ASSERT_EQ(g_raised.size(), 2u);
    EXPECT_EQ(g_raised[0].event, 61004u);
    EXPECT_EQ(g_raised[0].slot, NotifySlot::First);
    const auto late = g_raised[0].as<IpstackResultEvent>();
    EXPECT_EQ(late.m_cmd_kind, 5u);
    EXPECT_EQ(late.m_error, 0u);
    EXPECT_EQ(late.m_channel, 4u);
    EXPECT_EQ(g_raised[1].event, 61003u);
    EXPECT_EQ(g_raised[1].as<IpstackArrivalEvent>().m_channel, 4u);

    const std::string data("a\0bcd", 5);
    expect_ok(set(ipstack_at_exec_iprcv_cmd, {"1", "4"}),
              "\r\n^IPRCV: 1,4," + data.substr(0, 4) + "\r\n\r\nOK\r\n");
    expect_ok(set(ipstack_at_exec_iprcv_cmd, {"1"}), "\r\n^IPRCV: 1,1,d\r\n\r\nOK\r\n");
}

TEST_F(SimIpstack, PeerResetEndsTheSendAndTheLink) {
    open_link("\"reset.test\"");
    const Outcome o = set(ipstack_at_exec_ipsendex_cmd, {"1", "\"00\""});
    EXPECT_EQ(o.rc, 0);
    EXPECT_EQ(o.text, "");
    ASSERT_EQ(g_raised.size(), 2u);
    EXPECT_EQ(g_raised[0].as<IpstackResultEvent>().m_error, 104u);
    const auto down = g_raised[1].as<IpstackStateEvent>();
    EXPECT_EQ(down.m_value2, 0u);
    EXPECT_EQ(down.m_value3, 1u) << "closed by the peer";
    char text[IPSTACK_CME_TEXT_SIZE];
    ipstack_at_set_cme_error(104, text, 2);
    EXPECT_STREQ(text, "\r\n+CME ERROR: 104\r\n");
    EXPECT_EQ(ipstack_get_at_errornum(65), 65);
    EXPECT_EQ(ipstack_get_at_errornum(0), 98);
}

TEST_F(SimIpstack, SslLinkReceivesEncodedDataAndTimesOut) {
    expect_ok(set(ipstack_at_exec_ipinit_cmd, {"\"internet\""}));
    expect_ok(set(ipstack_at_exec_sslen_cmd, {"1"}));
    expect_ok(set(ipstack_at_exec_sslcfg_cmd, {"1", "1"}));
    expect_ok(set(ipstack_at_exec_sslo_cmd, {"\"secure.test\"", "443"}, 50));
    expect_ok(set(ipstack_at_exec_ssltx_cmd, {"\"abcd\""}), "\r\n^SSLTX: 4\r\n\r\nOK\r\n");
    EXPECT_TRUE(g_raised.empty());

    const Outcome rx = set(ipstack_at_exec_sslrx_cmd, {"0"});
    EXPECT_EQ(rx.rc, 0);
    EXPECT_EQ(rx.text, "") << "the final result comes late";
    ASSERT_EQ(g_raised.size(), 2u);
    const auto data = g_raised[0].as<IpstackDataEvent>();
    EXPECT_EQ(data.m_kind, 13u);
    EXPECT_EQ(data.m_encoded, 1u);
    EXPECT_EQ(data.m_len, 4u);
    EXPECT_EQ(data.m_channel, 6u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.m_data), 8), "YWJjZA==");
    EXPECT_EQ(g_raised[1].as<IpstackResultEvent>().m_cmd_kind, 18u);
    EXPECT_EQ(g_raised[1].as<IpstackResultEvent>().m_error, 0u);

    g_raised.clear();
    set(ipstack_at_exec_sslrx_cmd, {"0"});
    ASSERT_EQ(g_raised.size(), 1u);
    EXPECT_EQ(g_raised[0].as<IpstackResultEvent>().m_error, 65u);

    g_raised.clear();
    expect_ok(set(ipstack_at_exec_sslc_cmd, {}));
    ASSERT_EQ(g_raised.size(), 1u);
    EXPECT_EQ(g_raised[0].as<IpstackStateEvent>().m_value1, 6u);
    // The daemon resets the SSL enabling when it reports the SSL link.
    ipstack_reset_ssl_enable_status();
    expect_ok(at(ipstack_at_exec_sslen_cmd, NL_TYPE_QUERY), "\r\n^SSLEN: 0\r\n\r\nOK\r\n");
}

TEST_F(SimIpstack, ListenersReportTheirState) {
    expect_ok(set(ipstack_at_exec_ipinit_cmd, {"\"internet\""}));
    expect_ok(set(ipstack_at_exec_iplisten_cmd, {"\"TCP\"", "8080"}));
    EXPECT_EQ(set(ipstack_at_exec_iplisten_cmd, {"\"UDP\"", "8080"}).retenum, 3);
    expect_ok(set(IpStackAtExecIpListenExCmd, {"1", "0"}));
    ASSERT_EQ(g_raised.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(g_raised[i].event, 61002u);
        EXPECT_EQ(g_raised[i].slot, NotifySlot::First);
        const auto s = g_raised[i].as<IpstackStateEvent>();
        EXPECT_EQ(s.m_value1, 1u);
        EXPECT_EQ(s.m_value2, i == 0 ? 1u : 0u);
        EXPECT_EQ(s.m_value3, 8080u);
    }
}

TEST_F(SimIpstack, BinaryDocumentsKeepTheirLength) {
    expect_ok(set(ipstack_at_exec_ipinit_cmd, {"\"internet\""}));
    std::string bytes;
    for (char c = 0; c < 16; ++c) {
        bytes.push_back(c);
    }
    expect_ok(set(ipstack_at_exec_httpcmd_cmd, {"\"GET\"", "\"http://files.test/x.bin\""}),
              "\r\n^HTTPCMD: 200,16\r\n" + bytes + "\r\n\r\nOK\r\n");
    expect_ok(set(ipstack_at_exec_ftpcmd_cmd, {"\"GET\"", "\"files.test\"", "\"/y.bin\""}),
              "\r\n^FTPCMD: 16\r\n" + bytes + "\r\n\r\nOK\r\n");
}

TEST_F(SimIpstack, HeartbeatCountsOnOpenLinks) {
    open_link();
    expect_ok(set(ipstack_at_exec_hbeact_cmd, {"1", "1"}));
    expect_ok(set(ipstack_at_exec_hbecont_cmd, {"30", "4"}));
    expect_ok(set(ipstack_at_exec_hbecontdata_cmd, {"\"a1b2\""}));
    ipstack_hbecat_main();
    ipstack_hbecat_main();
    expect_ok(set(ipstack_at_exec_ipflowq_cmd, {"1"}), "\r\n^IPFLOWQ: 1,4,0\r\n\r\nOK\r\n");
    EXPECT_EQ(ipstack_hbe_maxtime(3), 120);
    EXPECT_EQ(ipstack_at_abort_at_cmd(), 1);
}

TEST_F(SimIpstack, ToldFailures) {
    setenv("TANDREL_SIM_IPSTACK_FAIL", "^ipinit=12,^SSLO=0", 1);
    sim_ipstack_reset();
    EXPECT_EQ(set(ipstack_at_exec_ipinit_cmd, {"\"internet\""}).retenum, 12);
    EXPECT_EQ(at(ipstack_at_exec_ipinit_cmd, NL_TYPE_TEST).retenum, 12);
    unsetenv("TANDREL_SIM_IPSTACK_FAIL");
    sim_ipstack_reset();

    // The run directory's file fails the next matching command once.
    const std::string path = test_run_dir() + "/ipstack-fail";
    FILE* f = fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr);
    fputs("^IPOPEN 33\n", f);
    fclose(f);
    expect_ok(set(ipstack_at_exec_ipinit_cmd, {"\"internet\""}));
    const std::vector<std::string> open = {"1", "\"TCP\"", "\"h\"", "7"};
    const Outcome told = set(ipstack_at_exec_ipopen_cmd, open);
    EXPECT_EQ(told.rc, -1);
    EXPECT_EQ(told.retenum, 33);
    expect_ok(set(ipstack_at_exec_ipopen_cmd, open));
}

TEST_F(SimIpstack, TestOperationsAnswerTheirRanges) {
    expect_ok(
        at(ipstack_at_exec_ipopen_cmd, NL_TYPE_TEST),
        "\r\n^IPOPEN: (1-5),(\"TCP\",\"UDP\"),\"REMOTE_ADDR\",(1-65535),(1-65535)\r\n\r\nOK\r\n");
    expect_ok(at(IpstackAtExecIpDnsCfgCmd, NL_TYPE_TEST), "\r\n^IPDNSCFG: (0-1)\r\n\r\nOK\r\n");
}

}  // namespace

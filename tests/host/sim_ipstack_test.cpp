// The simulated IP stack: what the session transcripts cannot reach (a peer reset, SSL links,
// binary documents) and a told failure.
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
    Outcome set(Exec fn, const std::vector<std::string>& params, uint32_t port = 0) {
        auto req = std::make_unique<AtRequest>();
        auto rsp = std::make_unique<AtResponse>();
        *req = AtRequest{};
        *rsp = AtResponse{};
        req->m_uindex = port;
        req->m_type = NL_TYPE_SET;
        req->m_para_count = static_cast<uint32_t>(params.size());
        for (size_t i = 0; i < params.size(); ++i) {
            AtCmdParam& p = req->m_para_list[i];
            memcpy(p.aucPara, params[i].data(), params[i].size());
            p.usParaLen = static_cast<uint16_t>(params[i].size());
        }
        const int32_t rc = fn(req.get(), rsp.get());
        return {rc, rsp->m_retenum, std::string(rsp->m_buffer, rsp->m_length)};
    }
    void expect_ok(const Outcome& o, const std::string& text = "\r\nOK\r\n") {
        EXPECT_EQ(o.rc, 0);
        EXPECT_EQ(o.retenum, 0);
        EXPECT_EQ(o.text, text);
    }
};

TEST_F(SimIpstack, PeerResetEndsTheSendAndTheLink) {
    expect_ok(set(ipstack_at_exec_ipinit_cmd, {"\"internet\""}));
    expect_ok(set(ipstack_at_exec_ipopen_cmd, {"1", "\"TCP\"", "\"reset.test\"", "7"}));
    g_raised.clear();
    const Outcome o = set(ipstack_at_exec_ipsendex_cmd, {"1", "\"00\""});
    EXPECT_EQ(o.rc, 0);
    EXPECT_EQ(o.text, "");
    ASSERT_EQ(g_raised.size(), 2u);
    EXPECT_EQ(g_raised[0].as<IpstackResultEvent>().m_error, 104u);
    const auto down = g_raised[1].as<IpstackStateEvent>();
    EXPECT_EQ(down.m_value2, 0u);
    EXPECT_EQ(down.m_value3, 1u) << "closed by the peer";
}

TEST_F(SimIpstack, SslLinkReceivesEncodedDataAndTimesOut) {
    expect_ok(set(ipstack_at_exec_ipinit_cmd, {"\"internet\""}));
    expect_ok(set(ipstack_at_exec_sslen_cmd, {"1"}));
    expect_ok(set(ipstack_at_exec_sslcfg_cmd, {"1", "1"}));
    expect_ok(set(ipstack_at_exec_sslo_cmd, {"\"secure.test\"", "443"}, 50));
    expect_ok(set(ipstack_at_exec_ssltx_cmd, {"\"abcd\""}), "\r\n^SSLTX: 4\r\n\r\nOK\r\n");

    const Outcome rx = set(ipstack_at_exec_sslrx_cmd, {"0"});
    EXPECT_EQ(rx.rc, 0);
    EXPECT_EQ(rx.text, "") << "the final result comes late";
    ASSERT_EQ(g_raised.size(), 2u);
    const auto data = g_raised[0].as<IpstackDataEvent>();
    EXPECT_EQ(data.m_encoded, 1u);
    EXPECT_EQ(data.m_channel, 6u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.m_data), 8), "YWJjZA==");
    EXPECT_EQ(g_raised[1].as<IpstackResultEvent>().m_error, 0u);

    g_raised.clear();
    set(ipstack_at_exec_sslrx_cmd, {"0"});
    ASSERT_EQ(g_raised.size(), 1u);
    EXPECT_EQ(g_raised[0].as<IpstackResultEvent>().m_error, 65u);
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

TEST_F(SimIpstack, ToldFailures) {
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

}  // namespace

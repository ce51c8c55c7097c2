// IP stack command relay: the service each handler calls, the settling of
// m_length and m_retenum, abort, and the wire size through the dispatcher.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "at_cmd_table.h"
#include "fake_platform.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "request_builder.h"
#include "tandrel_core.h"

namespace {

using fake::ipstack;
using fake::RequestBytes;

struct RelayCase {
    AtHandler handler;
    const char* service;
    bool length_as_set;  // the service's m_length is kept, not the text's
    bool ssl;            // the service's m_retenum is cleared on success
};

// clang-format off
const RelayCase kRelays[] = {
    {at_ipstack_ipinit, "ipstack_at_exec_ipinit_cmd", false, false},
    {AtIpstackIpinitex, "IpstackAtExecIpinitexCmd", false, false},
    {at_ipstack_hbeact, "ipstack_at_exec_hbeact_cmd", false, false},
    {at_ipstack_hbecont, "ipstack_at_exec_hbecont_cmd", false, false},
    {at_ipstack_hbecontdata, "ipstack_at_exec_hbecontdata_cmd", false, false},
    {at_ipstack_ipclose, "ipstack_at_exec_ipclose_cmd", false, false},
    {at_ipstack_ipopen, "ipstack_at_exec_ipopen_cmd", false, false},
    {at_ipstack_iplisten, "ipstack_at_exec_iplisten_cmd", false, false},
    {AtIpstackIpDnsCfg, "IpstackAtExecIpDnsCfgCmd", false, false},
    {at_ipstack_iplistenex, "IpStackAtExecIpListenExCmd", false, false},
    {at_ipstack_ipsend, "ipstack_at_exec_ipsend_cmd", false, false},
    {at_ipstack_ipsendex, "ipstack_at_exec_ipsendex_cmd", false, false},
    {at_ipstack_ipentrans, "ipstack_at_exec_ipentrans_cmd", false, false},
    {at_ipstack_ipflowq, "ipstack_at_exec_ipflowq_cmd", false, false},
    {at_ipstack_ipcfl, "ipstack_at_exec_ipcfl_cmd", false, false},
    {at_ipstack_smtpcmd, "ipstack_at_exec_smtpcmd_cmd", false, false},
    {at_ipstack_httpcmd, "ipstack_at_exec_httpcmd_cmd", true, false},
    {at_ipstack_ftpcmd, "ipstack_at_exec_ftpcmd_cmd", true, false},
    {at_ipstack_iprcv, "ipstack_at_exec_iprcv_cmd", true, false},
    {at_ipstack_ipopt, "ipstack_at_exec_ipopt_cmd", false, false},
    {at_ipstack_sslen, "ipstack_at_exec_sslen_cmd", false, true},
    {at_ipstack_sslmng, "ipstack_at_exec_sslmng_cmd", false, true},
    {at_ipstack_sslcfg, "ipstack_at_exec_sslcfg_cmd", false, true},
    {at_ipstack_sslstat, "ipstack_at_exec_sslstat_cmd", false, true},
    {at_ipstack_sslo, "ipstack_at_exec_sslo_cmd", false, true},
    {at_ipstack_sslc, "ipstack_at_exec_sslc_cmd", false, true},
    {at_ipstack_ssltx, "ipstack_at_exec_ssltx_cmd", false, true},
    {at_ipstack_sslrx, "ipstack_at_exec_sslrx_cmd", false, true},
};
// clang-format on

class Relay : public fake::PlatformTest {
  protected:
    void serve(int32_t result, int32_t retenum, const std::string& reply,
               std::optional<uint32_t> length) {
        P().reset();
        ipstack().reset();
        ipstack().result = result;
        ipstack().retenum = retenum;
        ipstack().reply = reply;
        ipstack().length = length;
        rsp = AtResponse{};
    }
    AtRequest req{};
    AtResponse rsp{};
};

TEST_F(Relay, EachHandlerCallsItsServiceAndSettlesTheAnswer) {
    // A reply with a NUL inside: the text rule stops at it, the length the
    // service set is kept as it is. Any result but -1 is success.
    const std::string reply("\r\nOK\r\n\0data", 11);
    for (const RelayCase& c : kRelays) {
        SCOPED_TRACE(c.service);
        for (const int32_t result : {0, INT32_MIN}) {
            serve(result, 7, reply, 11);
            EXPECT_EQ(c.handler(&req, &rsp), 0);
            ASSERT_EQ(ipstack().execs.size(), 1u);
            EXPECT_EQ(ipstack().execs[0].fn, c.service);
            EXPECT_EQ(rsp.m_length, c.length_as_set ? 11u : 6u);
            EXPECT_EQ(rsp.m_retenum, c.ssl ? 0 : 7);
        }
        // Failure: the service's number, or 98 when it gave none; no text.
        for (const auto& [service, want] : {std::pair{0, 98}, std::pair{12, 12}}) {
            serve(-1, service, "\r\nERROR partial", 15);
            EXPECT_EQ(c.handler(&req, &rsp), 0);
            EXPECT_EQ(rsp.m_retenum, want);
            EXPECT_EQ(rsp.m_length, 0u);
            EXPECT_EQ(rsp.m_buffer[0], '\0');
        }
        ipstack().reset();
        EXPECT_EQ(c.handler(nullptr, &rsp), -1);
        EXPECT_EQ(c.handler(&req, nullptr), -1);
        EXPECT_TRUE(ipstack().calls.empty());
    }
}

TEST_F(Relay, AbortOutcomes) {
    struct AbortCase {
        int32_t service, ret, retenum;
    };
    for (const AbortCase a : {AbortCase{0, -1, 0}, AbortCase{1, 0, 98}, AbortCase{-1, 0, 98}}) {
        SCOPED_TRACE(a.service);
        ipstack().reset();
        ipstack().abort_result = a.service;
        rsp = AtResponse{};
        EXPECT_EQ(at_ipstack_abort(&req, &rsp), a.ret);
        EXPECT_EQ(ipstack().calls, std::vector<std::string>{"ipstack_at_abort_at_cmd"});
        EXPECT_EQ(rsp.m_retenum, a.retenum);
        EXPECT_EQ(rsp.m_length, 0u);
    }
    ipstack().reset();
    EXPECT_EQ(at_ipstack_abort(nullptr, &rsp), -1);
    EXPECT_TRUE(ipstack().calls.empty());
    // Commands without an abort handler answer 20 without the service.
    P().reset();
    RequestBytes plain("^IPLISTEN", NL_TYPE_ABORT);
    nl_syswatch_event_report(plain.size(), plain.data());
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().sent[0].record().m_retenum, 20);
    EXPECT_TRUE(ipstack().calls.empty());
}

// The whole road through the dispatcher: operation, wire size, bytes, at
// the data boundaries (empty, binary 1500 bytes).
TEST_F(Relay, AnswersReachTheKernelWithTheirLength) {
    struct Road {
        const char* cmd;
        uint32_t type;
        int32_t result;
        std::string reply;
        std::optional<uint32_t> length;
        int32_t want_retenum;
        std::string want_text;
    };
    std::string binary(1500, '\0');
    for (size_t i = 0; i < binary.size(); ++i) {
        binary[i] = static_cast<char>(i * 7);
    }
    const Road roads[] = {
        {"^IPOPEN", 2, -1, "\r\nOK\r\n", 6, 98, ""},
        {"^HTTPCMD", 0, 0, binary, 1500, 0, binary},
        {"^IPRCV", 0, 0, "", 0, 0, ""},
    };
    for (const Road& r : roads) {
        SCOPED_TRACE(std::string(r.cmd) + " type " + std::to_string(r.type));
        serve(r.result, 0, r.reply, r.length);
        RequestBytes b(r.cmd, r.type, 4);
        b.magic(0xA5A5A5A5);
        EXPECT_EQ(nl_syswatch_event_report(b.size(), b.data()), 0);
        ASSERT_EQ(ipstack().execs.size(), 1u);
        EXPECT_EQ(ipstack().execs[0].type, r.type);
        ASSERT_EQ(P().sent.size(), 1u);
        const fake::Sent& s = P().last_sent();
        EXPECT_EQ(s.size, r.want_text.size() + 25);
        const AtResponse out = s.record();
        EXPECT_EQ(out.m_retenum, r.want_retenum);
        EXPECT_EQ(out.m_uindex, 4u);
        EXPECT_EQ(out.m_magic, 0xA5A5A5A5u);
        EXPECT_EQ(s.text(), r.want_text);
    }
}

}  // namespace

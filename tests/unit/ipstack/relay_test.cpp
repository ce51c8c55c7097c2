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

}  // namespace

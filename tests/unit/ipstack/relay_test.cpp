// IP stack command relay: every handler's service, the settling of m_length and m_retenum, abort.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>

#include "at_cmd_table.h"
#include "fake_platform.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "qsp_trace.h"
#include "request_builder.h"
#include "tandrel_core.h"

namespace {

using fake::ipstack;
using fake::RequestBytes;

enum Ok { kText, kLength, kNone };

struct RelayCase {
    const char* cmd;
    AtHandler handler;
    const char* name;
    const char* service;
    bool length_as_set;
    bool ssl;
    Ok ok;
    bool abortable;
};

// clang-format off
const RelayCase kRelays[] = {
    {"^IPINIT", at_ipstack_ipinit, "at_ipstack_ipinit", "ipstack_at_exec_ipinit_cmd", false, false, kText, true},
    {"^IPINITEX", AtIpstackIpinitex, "AtIpstackIpinitex", "IpstackAtExecIpinitexCmd", false, false, kText, true},
    {"^HBEACTEX", at_ipstack_hbeact, "at_ipstack_hbeact", "ipstack_at_exec_hbeact_cmd", false, false, kText, true},
    {"^HBECONTEX", at_ipstack_hbecont, "at_ipstack_hbecont", "ipstack_at_exec_hbecont_cmd", false, false, kText, true},
    {"^HBECONTDATA", at_ipstack_hbecontdata, "at_ipstack_hbecontdata", "ipstack_at_exec_hbecontdata_cmd", false, false, kText, true},
    {"^IPCLOSE", at_ipstack_ipclose, "at_ipstack_ipclose", "ipstack_at_exec_ipclose_cmd", false, false, kText, true},
    {"^IPOPEN", at_ipstack_ipopen, "at_ipstack_ipopen", "ipstack_at_exec_ipopen_cmd", false, false, kText, true},
    {"^IPLISTEN", at_ipstack_iplisten, "at_ipstack_iplisten", "ipstack_at_exec_iplisten_cmd", false, false, kText, false},
    {"^IPDNSCFG", AtIpstackIpDnsCfg, "AtIpstackIpDnsCfg", "IpstackAtExecIpDnsCfgCmd", false, false, kText, false},
    {"^IPLISTENEX", at_ipstack_iplistenex, "at_ipstack_iplistenex", "IpStackAtExecIpListenExCmd", false, false, kText, false},
    {"^IPSEND", at_ipstack_ipsend, "at_ipstack_ipsend", "ipstack_at_exec_ipsend_cmd", false, false, kText, true},
    {"^IPSENDEX", at_ipstack_ipsendex, "at_ipstack_ipsendex", "ipstack_at_exec_ipsendex_cmd", false, false, kText, true},
    {"^IPENTRANS", at_ipstack_ipentrans, "at_ipstack_ipentrans", "ipstack_at_exec_ipentrans_cmd", false, false, kText, false},
    {"^IPFLOWQ", at_ipstack_ipflowq, "at_ipstack_ipflowq", "ipstack_at_exec_ipflowq_cmd", false, false, kText, false},
    {"^IPCFL", at_ipstack_ipcfl, "at_ipstack_ipcfl", "ipstack_at_exec_ipcfl_cmd", false, false, kText, false},
    {"^EMSEND", at_ipstack_smtpcmd, "at_ipstack_smtpcmd", "ipstack_at_exec_smtpcmd_cmd", false, false, kLength, true},
    {"^HTTPCMD", at_ipstack_httpcmd, "at_ipstack_httpcmd", "ipstack_at_exec_httpcmd_cmd", true, false, kLength, true},
    {"^FTPCMD", at_ipstack_ftpcmd, "at_ipstack_ftpcmd", "ipstack_at_exec_ftpcmd_cmd", true, false, kText, true},
    {"^IPRCV", at_ipstack_iprcv, "at_ipstack_iprcv", "ipstack_at_exec_iprcv_cmd", true, false, kLength, true},
    {"^IPOPT", at_ipstack_ipopt, "at_ipstack_ipopt", "ipstack_at_exec_ipopt_cmd", false, false, kNone, false},
    {"^SSLEN", at_ipstack_sslen, "at_ipstack_sslen", "ipstack_at_exec_sslen_cmd", false, true, kText, false},
    {"^SSLMNG", at_ipstack_sslmng, "at_ipstack_sslmng", "ipstack_at_exec_sslmng_cmd", false, true, kText, false},
    {"^SSLCFG", at_ipstack_sslcfg, "at_ipstack_sslcfg", "ipstack_at_exec_sslcfg_cmd", false, true, kText, false},
    {"^SSLSTAT", at_ipstack_sslstat, "at_ipstack_sslstat", "ipstack_at_exec_sslstat_cmd", false, true, kText, false},
    {"^SSLO", at_ipstack_sslo, "at_ipstack_sslo", "ipstack_at_exec_sslo_cmd", false, true, kText, true},
    {"^SSLC", at_ipstack_sslc, "at_ipstack_sslc", "ipstack_at_exec_sslc_cmd", false, true, kText, false},
    {"^SSLTX", at_ipstack_ssltx, "at_ipstack_ssltx", "ipstack_at_exec_ssltx_cmd", false, true, kText, true},
    {"^SSLRX", at_ipstack_sslrx, "at_ipstack_sslrx", "ipstack_at_exec_sslrx_cmd", false, true, kText, true},
};
// clang-format on

class Relay : public fake::PlatformTest {
  protected:
    // The one trace with this text, or null.
    const fake::Trace* trace(const std::string& text) {
        const fake::Trace* found = nullptr;
        for (const fake::Trace& t : P().traces) {
            if (t.text == text) {
                EXPECT_EQ(found, nullptr) << "traced twice: " << text;
                found = &t;
            }
        }
        return found;
    }
    void expect_trace(const std::string& text, uint32_t level) {
        const fake::Trace* t = trace(text);
        ASSERT_NE(t, nullptr) << text;
        EXPECT_EQ(t->tag, "ipstack");
        EXPECT_EQ(t->level, level);
    }
    AtRequest req{};
    AtResponse rsp{};
};

TEST_F(Relay, TableRowsHandTheirOperationsToTheRelay) {
    for (const RelayCase& c : kRelays) {
        SCOPED_TRACE(c.cmd);
        const AtCmdEntry* e = at_cmd_find(c.cmd);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->m_set_func, c.handler);
        EXPECT_EQ(e->m_query_func, c.handler);
        EXPECT_EQ(e->m_test_func, c.handler);
        EXPECT_EQ(e->m_abort_func, c.abortable ? &at_ipstack_abort : nullptr);
    }
}

TEST_F(Relay, SuccessSettlesLengthAndResultPerCommand) {
    // A reply with a NUL inside: the text rule stops at it, the length the
    // service set is kept as it is.
    const std::string reply("\r\nOK\r\n\0data", 11);
    const int32_t successes[] = {0, 1, -2, INT32_MIN};  // anything but -1
    size_t i = 0;
    for (const RelayCase& c : kRelays) {
        SCOPED_TRACE(c.cmd);
        P().reset();
        ipstack().reset();
        ipstack().reply = reply;
        ipstack().length = 11;
        ipstack().retenum = 7;
        ipstack().result = successes[i++ % std::size(successes)];
        req = AtRequest{};
        rsp = AtResponse{};
        req.m_type = NL_TYPE_QUERY;

        EXPECT_EQ(c.handler(&req, &rsp), 0);

        ASSERT_EQ(ipstack().execs.size(), 1u);
        EXPECT_EQ(ipstack().execs[0].fn, c.service);
        EXPECT_EQ(ipstack().execs[0].in, &req);
        EXPECT_EQ(ipstack().execs[0].out, &rsp);
        EXPECT_EQ(rsp.m_length, c.length_as_set ? 11u : 6u);
        EXPECT_EQ(rsp.m_retenum, c.ssl ? 0 : 7);
        EXPECT_EQ(std::string(rsp.m_buffer, 11), reply);
        const std::string name = c.name;
        const std::string entry = "\r\n " + name + " enter \r\n";
        if (name.rfind("at_ipstack_hbe", 0) == 0) {
            ASSERT_FALSE(P().traces.empty());
            EXPECT_EQ(P().traces.front().text, entry);
            EXPECT_EQ(P().traces.front().level, TRACE_LEVEL_INFO);
            P().traces.erase(P().traces.begin());
        }
        switch (c.ok) {
            case kText:
                expect_trace("[ipstackatapi] " + name + " OK, m_buffer is \r\nOK\r\n\n",
                             TRACE_LEVEL_INFO);
                break;
            case kLength:
                expect_trace("[ipstackatapi] " + name + " OK, m_length is " +
                                 std::to_string(rsp.m_length) + "\n",
                             TRACE_LEVEL_INFO);
                break;
            case kNone:
                break;
        }
        EXPECT_EQ(P().traces.size(), c.ok == kNone ? 0u : 1u);
    }
}

TEST_F(Relay, FailureAnswersTheServicesNumberOrNinetyEight) {
    struct Failure {
        int32_t service_retenum;
        int32_t want;
    };
    for (const Failure f : {Failure{0, 98}, Failure{12, 12}, Failure{-3, -3}}) {
        for (const RelayCase& c : kRelays) {
            SCOPED_TRACE(std::string(c.cmd) + " retenum " + std::to_string(f.service_retenum));
            P().reset();
            ipstack().reset();
            ipstack().reply = "\r\nERROR partial";
            ipstack().length = 15;
            ipstack().retenum = f.service_retenum;
            ipstack().result = -1;
            rsp = AtResponse{};

            EXPECT_EQ(c.handler(&req, &rsp), 0);
            EXPECT_EQ(rsp.m_retenum, f.want);
            EXPECT_EQ(rsp.m_length, 0u);
            EXPECT_EQ(rsp.m_buffer[0], '\0');
            expect_trace("[ipstackatapi] " + std::string(c.name) + " error, m_retenum is " +
                             std::to_string(f.want) + "\n",
                         TRACE_LEVEL_ERROR);
        }
    }
}

TEST_F(Relay, NullRecordsReachNoService) {
    for (const RelayCase& c : kRelays) {
        SCOPED_TRACE(c.cmd);
        P().reset();
        EXPECT_EQ(c.handler(nullptr, &rsp), -1);
        EXPECT_EQ(c.handler(&req, nullptr), -1);
        const std::string name = c.name;
        const std::string want =
            name == "AtIpstackIpinitex"       ? "AtIpstackIpinitex param is null!\r\n"
            : name == "at_ipstack_iplistenex" ? "at_ipstack_iplistenex null params"
                                              : "null params";
        ASSERT_EQ(P().traces.size(), 2u);
        for (const fake::Trace& t : P().traces) {
            EXPECT_EQ(t.text, want);
            EXPECT_EQ(t.level, TRACE_LEVEL_ERROR);
            EXPECT_EQ(t.tag, "ipstack");
        }
    }
    EXPECT_TRUE(ipstack().calls.empty());
}

TEST_F(Relay, AbortOutcomes) {
    struct AbortCase {
        int32_t service;
        int32_t ret;
        int32_t retenum;
    };
    for (const AbortCase a : {AbortCase{0, -1, 0}, AbortCase{1, 0, 98}, AbortCase{-1, 0, 98}}) {
        SCOPED_TRACE(a.service);
        P().reset();
        ipstack().reset();
        ipstack().abort_result = a.service;
        rsp = AtResponse{};
        EXPECT_EQ(at_ipstack_abort(&req, &rsp), a.ret);
        EXPECT_EQ(ipstack().calls, std::vector<std::string>{"ipstack_at_abort_at_cmd"});
        EXPECT_EQ(rsp.m_retenum, a.retenum);
        EXPECT_EQ(rsp.m_length, 0u);
        EXPECT_EQ(rsp.m_buffer[0], '\0');
        expect_trace("at_ipstack_abort in!\n", TRACE_LEVEL_INFO);
    }
    P().reset();
    ipstack().reset();
    EXPECT_EQ(at_ipstack_abort(nullptr, &rsp), -1);
    ASSERT_EQ(P().traces.size(), 2u);
    EXPECT_EQ(P().traces[0].text, "at_ipstack_abort in!\n");
    EXPECT_EQ(P().traces[1].text, "null params");
    EXPECT_TRUE(ipstack().calls.empty());
}

// The whole road through the dispatcher: operation, wire size, bytes.
TEST_F(Relay, AnswersReachTheKernelWithTheirLength) {
    struct Road {
        const char* cmd;
        uint32_t type;
        int32_t result;
        int32_t retenum;
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
        {"^IPOPEN", 0, 0, 0, "\r\nOK\r\n", std::nullopt, 0, "\r\nOK\r\n"},
        {"^ipopen", 1, 0, 0, "\r\n^IPOPEN: 1,\"TCP\"\r\n\r\nOK\r\n", 3, 0,
         "\r\n^IPOPEN: 1,\"TCP\"\r\n\r\nOK\r\n"},
        {"^IPOPEN", 2, -1, 0, "\r\nOK\r\n", 6, 98, ""},
        {"^SSLO", 0, 0, 4, "\r\nOK\r\n", std::nullopt, 0, "\r\nOK\r\n"},
        {"^HTTPCMD", 0, 0, 0, binary, 1500, 0, binary},
        {"^IPRCV", 0, 0, 0, "", 0, 0, ""},
    };
    for (const Road& r : roads) {
        SCOPED_TRACE(std::string(r.cmd) + " type " + std::to_string(r.type));
        P().reset();
        ipstack().reset();
        ipstack().result = r.result;
        ipstack().retenum = r.retenum;
        ipstack().reply = r.reply;
        ipstack().length = r.length;
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

TEST_F(Relay, AbortThroughTheDispatcher) {
    ipstack().abort_result = 1;
    RequestBytes abortable("^IPOPEN", NL_TYPE_ABORT);
    nl_syswatch_event_report(abortable.size(), abortable.data());
    RequestBytes plain("^IPLISTEN", NL_TYPE_ABORT);
    nl_syswatch_event_report(plain.size(), plain.data());
    ASSERT_EQ(P().sent.size(), 2u);
    EXPECT_EQ(P().sent[0].record().m_retenum, 98);
    EXPECT_EQ(P().sent[1].record().m_retenum, 20);
    EXPECT_EQ(ipstack().calls, std::vector<std::string>{"ipstack_at_abort_at_cmd"});
}

}  // namespace

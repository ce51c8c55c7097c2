// IP, SSL, heartbeat, e-mail, HTTP and FTP commands relayed to the IP stack, and their abort.
#include <cstring>

#include "ipstack.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "ipstackatapi/ipstack_trace.h"

namespace {

using IpstackExec = int32_t (*)(AtRequest*, AtResponse*);

// How m_length is settled after a successful call: the text's length, or
// left as the service set it because its reply may hold binary data.
enum class Length : uint8_t { Text, AsSet };
// What the success trace shows: the reply text, its length (replies that
// are data, not text), or nothing.
enum class OkTrace : uint8_t { Text, Length, None };

struct Relay {
    const char* name;  // the handler's name, as the traces show it
    IpstackExec exec;
    Length length;
    bool ssl;  // SSL commands: success clears whatever m_retenum the service left
    OkTrace ok_trace;
    const char* null_trace;
    const char* entry_trace;  // heartbeat commands announce themselves
};

constexpr const char* kNullParams = "null params";

constexpr Relay relay_row(const char* name, IpstackExec exec, Length length = Length::Text,
                          bool ssl = false, OkTrace ok = OkTrace::Text,
                          const char* null_trace = kNullParams, const char* entry_trace = nullptr) {
    return Relay{name, exec, length, ssl, ok, null_trace, entry_trace};
}

constexpr Relay kIpinit = relay_row("at_ipstack_ipinit", ipstack_at_exec_ipinit_cmd);
constexpr Relay kIpinitex = relay_row("AtIpstackIpinitex", IpstackAtExecIpinitexCmd, Length::Text,
                                      false, OkTrace::Text, "AtIpstackIpinitex param is null!\r\n");
constexpr Relay kHbeact =
    relay_row("at_ipstack_hbeact", ipstack_at_exec_hbeact_cmd, Length::Text, false, OkTrace::Text,
              kNullParams, "\r\n at_ipstack_hbeact enter \r\n");
constexpr Relay kHbecont =
    relay_row("at_ipstack_hbecont", ipstack_at_exec_hbecont_cmd, Length::Text, false, OkTrace::Text,
              kNullParams, "\r\n at_ipstack_hbecont enter \r\n");
constexpr Relay kHbecontdata =
    relay_row("at_ipstack_hbecontdata", ipstack_at_exec_hbecontdata_cmd, Length::Text, false,
              OkTrace::Text, kNullParams, "\r\n at_ipstack_hbecontdata enter \r\n");
constexpr Relay kIpclose = relay_row("at_ipstack_ipclose", ipstack_at_exec_ipclose_cmd);
constexpr Relay kIpopen = relay_row("at_ipstack_ipopen", ipstack_at_exec_ipopen_cmd);
constexpr Relay kIplisten = relay_row("at_ipstack_iplisten", ipstack_at_exec_iplisten_cmd);
constexpr Relay kIpDnsCfg = relay_row("AtIpstackIpDnsCfg", IpstackAtExecIpDnsCfgCmd);
constexpr Relay kIplistenex =
    relay_row("at_ipstack_iplistenex", IpStackAtExecIpListenExCmd, Length::Text, false,
              OkTrace::Text, "at_ipstack_iplistenex null params");
constexpr Relay kIpsend = relay_row("at_ipstack_ipsend", ipstack_at_exec_ipsend_cmd);
constexpr Relay kIpsendex = relay_row("at_ipstack_ipsendex", ipstack_at_exec_ipsendex_cmd);
constexpr Relay kIpentrans = relay_row("at_ipstack_ipentrans", ipstack_at_exec_ipentrans_cmd);
constexpr Relay kIpflowq = relay_row("at_ipstack_ipflowq", ipstack_at_exec_ipflowq_cmd);
constexpr Relay kIpcfl = relay_row("at_ipstack_ipcfl", ipstack_at_exec_ipcfl_cmd);
constexpr Relay kSmtpcmd = relay_row("at_ipstack_smtpcmd", ipstack_at_exec_smtpcmd_cmd,
                                     Length::Text, false, OkTrace::Length);
constexpr Relay kHttpcmd = relay_row("at_ipstack_httpcmd", ipstack_at_exec_httpcmd_cmd,
                                     Length::AsSet, false, OkTrace::Length);
constexpr Relay kFtpcmd = relay_row("at_ipstack_ftpcmd", ipstack_at_exec_ftpcmd_cmd, Length::AsSet);
constexpr Relay kIprcv =
    relay_row("at_ipstack_iprcv", ipstack_at_exec_iprcv_cmd, Length::AsSet, false, OkTrace::Length);
constexpr Relay kIpopt =
    relay_row("at_ipstack_ipopt", ipstack_at_exec_ipopt_cmd, Length::Text, false, OkTrace::None);
constexpr Relay kSslen =
    relay_row("at_ipstack_sslen", ipstack_at_exec_sslen_cmd, Length::Text, true);
constexpr Relay kSslmng =
    relay_row("at_ipstack_sslmng", ipstack_at_exec_sslmng_cmd, Length::Text, true);
constexpr Relay kSslcfg =
    relay_row("at_ipstack_sslcfg", ipstack_at_exec_sslcfg_cmd, Length::Text, true);
constexpr Relay kSslstat =
    relay_row("at_ipstack_sslstat", ipstack_at_exec_sslstat_cmd, Length::Text, true);
constexpr Relay kSslo = relay_row("at_ipstack_sslo", ipstack_at_exec_sslo_cmd, Length::Text, true);
constexpr Relay kSslc = relay_row("at_ipstack_sslc", ipstack_at_exec_sslc_cmd, Length::Text, true);
constexpr Relay kSsltx =
    relay_row("at_ipstack_ssltx", ipstack_at_exec_ssltx_cmd, Length::Text, true);
constexpr Relay kSslrx =
    relay_row("at_ipstack_sslrx", ipstack_at_exec_sslrx_cmd, Length::Text, true);

// The common relay: the service writes the whole reply; the handler only
// settles m_length and m_retenum so that the kernel sees either the text
// with result 0 or a number with no text.
int32_t relay(const Relay& r, AtRequest* pIn, AtResponse* pOut) {
    if (pIn == nullptr || pOut == nullptr) {
        IPSTACK_TRACE(TRACE_LEVEL_ERROR, "%s", r.null_trace);
        return TANDREL_FAIL;
    }
    if (r.entry_trace != nullptr) {
        IPSTACK_TRACE(TRACE_LEVEL_INFO, "%s", r.entry_trace);
    }
    if (r.exec(pIn, pOut) == -1) {
        // No partial text reaches the terminal: the number alone is the answer.
        at_set_error(pOut, pOut->m_retenum != 0 ? pOut->m_retenum : IPSTACK_RET_FAIL);
        IPSTACK_TRACE(TRACE_LEVEL_ERROR, "[ipstackatapi] %s error, m_retenum is %d\n", r.name,
                      pOut->m_retenum);
        return TANDREL_OK;
    }
    // The service's text may fill the whole field without a NUL; the length
    // never counts past it.
    const size_t text_len = strnlen(pOut->m_buffer, sizeof pOut->m_buffer);
    if (r.length == Length::Text) {
        pOut->m_length = static_cast<uint32_t>(text_len);
    }
    if (r.ssl) {
        pOut->m_retenum = AT_RET_OK;
    }
    switch (r.ok_trace) {
        case OkTrace::Text:
            IPSTACK_TRACE(TRACE_LEVEL_INFO, "[ipstackatapi] %s OK, m_buffer is %.*s\n", r.name,
                          static_cast<int>(text_len), pOut->m_buffer);
            break;
        case OkTrace::Length:
            IPSTACK_TRACE(TRACE_LEVEL_INFO, "[ipstackatapi] %s OK, m_length is %u\n", r.name,
                          pOut->m_length);
            break;
        case OkTrace::None:
            break;
    }
    return TANDREL_OK;
}

}  // namespace

int32_t at_ipstack_ipinit(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpinit, pIn, pOut);
}
int32_t AtIpstackIpinitex(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpinitex, pIn, pOut);
}
int32_t at_ipstack_hbeact(AtRequest* pIn, AtResponse* pOut) {
    return relay(kHbeact, pIn, pOut);
}
int32_t at_ipstack_hbecont(AtRequest* pIn, AtResponse* pOut) {
    return relay(kHbecont, pIn, pOut);
}
int32_t at_ipstack_hbecontdata(AtRequest* pIn, AtResponse* pOut) {
    return relay(kHbecontdata, pIn, pOut);
}
int32_t at_ipstack_ipclose(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpclose, pIn, pOut);
}
int32_t at_ipstack_ipopen(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpopen, pIn, pOut);
}
int32_t at_ipstack_iplisten(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIplisten, pIn, pOut);
}
int32_t AtIpstackIpDnsCfg(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpDnsCfg, pIn, pOut);
}
int32_t at_ipstack_iplistenex(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIplistenex, pIn, pOut);
}
int32_t at_ipstack_ipsend(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpsend, pIn, pOut);
}
int32_t at_ipstack_ipsendex(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpsendex, pIn, pOut);
}
int32_t at_ipstack_ipentrans(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpentrans, pIn, pOut);
}
int32_t at_ipstack_ipflowq(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpflowq, pIn, pOut);
}
int32_t at_ipstack_ipcfl(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpcfl, pIn, pOut);
}
int32_t at_ipstack_smtpcmd(AtRequest* pIn, AtResponse* pOut) {
    return relay(kSmtpcmd, pIn, pOut);
}
int32_t at_ipstack_httpcmd(AtRequest* pIn, AtResponse* pOut) {
    return relay(kHttpcmd, pIn, pOut);
}
int32_t at_ipstack_ftpcmd(AtRequest* pIn, AtResponse* pOut) {
    return relay(kFtpcmd, pIn, pOut);
}
int32_t at_ipstack_iprcv(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIprcv, pIn, pOut);
}
int32_t at_ipstack_ipopt(AtRequest* pIn, AtResponse* pOut) {
    return relay(kIpopt, pIn, pOut);
}
int32_t at_ipstack_sslen(AtRequest* pIn, AtResponse* pOut) {
    return relay(kSslen, pIn, pOut);
}
int32_t at_ipstack_sslmng(AtRequest* pIn, AtResponse* pOut) {
    return relay(kSslmng, pIn, pOut);
}
int32_t at_ipstack_sslcfg(AtRequest* pIn, AtResponse* pOut) {
    return relay(kSslcfg, pIn, pOut);
}
int32_t at_ipstack_sslstat(AtRequest* pIn, AtResponse* pOut) {
    return relay(kSslstat, pIn, pOut);
}
int32_t at_ipstack_sslo(AtRequest* pIn, AtResponse* pOut) {
    return relay(kSslo, pIn, pOut);
}
int32_t at_ipstack_sslc(AtRequest* pIn, AtResponse* pOut) {
    return relay(kSslc, pIn, pOut);
}
int32_t at_ipstack_ssltx(AtRequest* pIn, AtResponse* pOut) {
    return relay(kSsltx, pIn, pOut);
}
int32_t at_ipstack_sslrx(AtRequest* pIn, AtResponse* pOut) {
    return relay(kSslrx, pIn, pOut);
}

int32_t at_ipstack_abort(AtRequest* pIn, AtResponse* pOut) {
    IPSTACK_TRACE(TRACE_LEVEL_INFO, "at_ipstack_abort in!\n");
    if (pIn == nullptr || pOut == nullptr) {
        IPSTACK_TRACE(TRACE_LEVEL_ERROR, "null params");
        return TANDREL_FAIL;
    }
    // The service knows which command runs. A non-zero result is answered
    // with the IP stack's failure number; zero leaves the empty answer the
    // dispatcher prepared.
    if (ipstack_at_abort_at_cmd() != 0) {
        at_set_error(pOut, IPSTACK_RET_FAIL);
        return TANDREL_OK;
    }
    return TANDREL_FAIL;
}

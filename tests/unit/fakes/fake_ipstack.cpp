// Recording fake of the IP stack service.
#include "fake_ipstack.h"

#include <algorithm>
#include <cstring>

#include "fake_services.h"
#include "ipstack.h"

namespace fake {

IpStack& ipstack() {
    static IpStack s;
    return s;
}

size_t IpStack::count(const std::string& fn) const {
    return static_cast<size_t>(std::count(calls.begin(), calls.end(), fn));
}

}  // namespace fake

namespace {

int32_t exec(const char* fn, AtRequest* pIn, AtResponse* pOut) {
    fake::IpStack& s = fake::ipstack();
    s.calls.push_back(fn);
    if (pOut != nullptr) {
        std::memcpy(pOut->m_buffer, s.reply.data(),
                    std::min(s.reply.size(), sizeof pOut->m_buffer));
        if (s.length) {
            pOut->m_length = *s.length;
        }
        pOut->m_retenum = s.retenum;
    }
    return s.result;
}

}  // namespace

extern "C" {

#define FAKE_IPSTACK_EXEC(fn)                      \
    int32_t fn(AtRequest* pIn, AtResponse* pOut) { \
        return exec(#fn, pIn, pOut);               \
    }

FAKE_IPSTACK_EXEC(ipstack_at_exec_ipinit_cmd)
FAKE_IPSTACK_EXEC(IpstackAtExecIpinitexCmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_hbeact_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_hbecont_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_hbecontdata_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ipclose_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ipopen_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_iplisten_cmd)
FAKE_IPSTACK_EXEC(IpstackAtExecIpDnsCfgCmd)
FAKE_IPSTACK_EXEC(IpStackAtExecIpListenExCmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ipsend_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ipsendex_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ipentrans_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ipflowq_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ipcfl_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_smtpcmd_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_httpcmd_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ftpcmd_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_iprcv_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ipopt_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_sslen_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_sslmng_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_sslcfg_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_sslstat_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_sslo_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_sslc_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_ssltx_cmd)
FAKE_IPSTACK_EXEC(ipstack_at_exec_sslrx_cmd)

#undef FAKE_IPSTACK_EXEC

int32_t ipstack_at_abort_at_cmd(void) {
    fake::ipstack().calls.push_back("ipstack_at_abort_at_cmd");
    return fake::ipstack().abort_result;
}

void ipstack_reset_ssl_enable_status(void) {
    fake::ipstack().calls.push_back("ipstack_reset_ssl_enable_status");
}

void reset_http_sock_type(void) {
    fake::ipstack().calls.push_back("reset_http_sock_type");
}

int32_t ipstack_get_at_errornum(uint32_t error) {
    fake::ipstack().calls.push_back("ipstack_get_at_errornum");
    fake::ipstack().errornum_codes.push_back(error);
    return fake::ipstack().errornum_result;
}

void ipstack_at_set_cme_error(uint32_t error, char* buffer, int32_t mode) {
    fake::IpStack& s = fake::ipstack();
    s.calls.push_back("ipstack_at_set_cme_error");
    s.cme_codes.push_back(error);
    s.cme_mode = mode;
    // The service's contract: at most IPSTACK_CME_TEXT_SIZE bytes, NUL included.
    const std::string text = "\r\n+CME ERROR: 3\r\n";
    const size_t n = std::min<size_t>(text.size(), IPSTACK_CME_TEXT_SIZE - 1);
    std::memcpy(buffer, text.data(), n);
    buffer[n] = '\0';
}

// The heartbeat calls keep recording where the core's tests look for them.
void ipstack_hbecat_main(void) {
    fake::services().calls.push_back("ipstack_hbecat_main");
}

int32_t ipstack_hbe_maxtime(int32_t arg) {
    fake::services().calls.push_back("ipstack_hbe_maxtime");
    fake::services().hbe_maxtime_arg = arg;
    return fake::services().hbe_maxtime_result;
}

}  // extern "C"

// Fake of the IP stack service.
#include "fake_ipstack.h"

#include <algorithm>
#include <cstring>

#include <string>
#include "ipstack.h"

namespace fake {

IpStack& ipstack() {
    static IpStack s;
    return s;
}

}  // namespace fake

namespace {

int32_t exec(AtResponse* pOut) {
    if (pOut != nullptr) {
        std::strcpy(pOut->m_buffer, "\r\nOK\r\n");
        pOut->m_length = 6;
        pOut->m_retenum = 0;
    }
    return 0;
}

}  // namespace

extern "C" {

#define FAKE_IPSTACK_EXEC(fn)                      \
    int32_t fn(AtRequest*, AtResponse* pOut) { \
        return exec(pOut);                         \
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

int32_t ipstack_at_abort_at_cmd(void) { return fake::ipstack().abort_result; }
void ipstack_reset_ssl_enable_status(void) {}
void reset_http_sock_type(void) {}
int32_t ipstack_get_at_errornum(uint32_t) { return fake::ipstack().errornum_result; }

void ipstack_at_set_cme_error(uint32_t, char* buffer, int32_t) {
    // The service's contract: at most IPSTACK_CME_TEXT_SIZE bytes, NUL included.
    const std::string text = "\r\n+CME ERROR: 3\r\n";
    const size_t n = std::min<size_t>(text.size(), IPSTACK_CME_TEXT_SIZE - 1);
    std::memcpy(buffer, text.data(), n);
    buffer[n] = '\0';
}

void ipstack_hbecat_main(void) {}
int32_t ipstack_hbe_maxtime(int32_t) { return 0; }

}  // extern "C"

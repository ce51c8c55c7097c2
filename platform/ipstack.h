// IP stack service: AT entry points, the event records of notify module 62, heartbeat work.
#pragma once

#include <cstddef>
#include <cstdint>

#include "at_record.h"

// Notify module of the IP stack and the events it posts there.
inline constexpr uint32_t NOTIFY_MODULE_IPSTACK = 62;
inline constexpr uint32_t IPSTACK_EVT_DATA = 61000;          // data of a link
inline constexpr uint32_t IPSTACK_EVT_LINK_STATE = 61001;    // a link changed state
inline constexpr uint32_t IPSTACK_EVT_SERVER_STATE = 61002;  // a listening socket's event
inline constexpr uint32_t IPSTACK_EVT_DATA_ARRIVAL = 61003;  // data waits to be read
inline constexpr uint32_t IPSTACK_EVT_LATE_RESULT = 61004;   // final result of a command

// 61001 and 61002: three values; the first words are the service's own.
struct IpstackStateEvent {
    uint32_t m_private[8];
    uint32_t m_value1;
    uint32_t m_value2;
    uint32_t m_value3;
};

// 61003: which link has data waiting, and the channel it belongs to.
struct IpstackArrivalEvent {
    uint32_t m_link;
    uint32_t m_channel;
};

// Bytes of data one 61000 record carries at most.
inline constexpr size_t IPSTACK_DATA_MAX = 1504;
// Link kinds of a 61000 record that are SSL links.
inline constexpr uint32_t IPSTACK_LINK_SSL_A = 13;
inline constexpr uint32_t IPSTACK_LINK_SSL_B = 14;

// 61000: the data of one link. m_len counts the payload as the peer sent it;
// with m_encoded set the bytes in m_data are its encoded form, 4 for every 3.
struct IpstackDataEvent {
    uint32_t m_link;
    uint32_t m_channel;
    uint32_t m_len;
    uint8_t m_data[IPSTACK_DATA_MAX];
    uint32_t m_kind;
    uint32_t m_encoded;
};

// Command kinds of a 61004 record with a text of their own.
inline constexpr uint32_t IPSTACK_CMD_IPSENDEX = 5;
inline constexpr uint32_t IPSTACK_CMD_SSLRX = 18;
// Error codes of a 61004 record that are not plain failures: 65 is the
// time-out of a receive, 502 ends an ^IPSENDEX as well as 0 does.
inline constexpr uint32_t IPSTACK_ERR_TIMEOUT = 65;
inline constexpr uint32_t IPSTACK_ERR_502 = 502;

// 61004: the final result of a command answered earlier.
struct IpstackResultEvent {
    uint32_t m_private[6];
    uint32_t m_cmd_kind;
    uint32_t m_private2[2];
    uint32_t m_error;
    uint32_t m_channel;
    uint32_t m_count;
};

static_assert(offsetof(IpstackStateEvent, m_value1) == 32);
static_assert(offsetof(IpstackStateEvent, m_value2) == 36);
static_assert(offsetof(IpstackStateEvent, m_value3) == 40);
static_assert(sizeof(IpstackStateEvent) == 44);
static_assert(offsetof(IpstackArrivalEvent, m_channel) == 4);
static_assert(sizeof(IpstackArrivalEvent) == 8);
static_assert(offsetof(IpstackDataEvent, m_channel) == 4);
static_assert(offsetof(IpstackDataEvent, m_len) == 8);
static_assert(offsetof(IpstackDataEvent, m_data) == 12);
static_assert(offsetof(IpstackDataEvent, m_kind) == 1516);
static_assert(offsetof(IpstackDataEvent, m_encoded) == 1520);
static_assert(sizeof(IpstackDataEvent) == 1524);
static_assert(offsetof(IpstackResultEvent, m_cmd_kind) == 24);
static_assert(offsetof(IpstackResultEvent, m_error) == 36);
static_assert(offsetof(IpstackResultEvent, m_channel) == 40);
static_assert(offsetof(IpstackResultEvent, m_count) == 44);
static_assert(sizeof(IpstackResultEvent) == 48);

// Size of the text buffer handed to ipstack_at_set_cme_error: the service
// writes at most this many bytes, its terminating NUL included.
inline constexpr uint32_t IPSTACK_CME_TEXT_SIZE = 129;

extern "C" {
// AT entry points. Each takes the request and the response record, branches
// on m_type itself, writes the whole reply (final result included) into
// m_buffer and may set m_length and m_retenum. Returns -1 for failure, any
// other value for success.
int32_t ipstack_at_exec_ipinit_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t IpstackAtExecIpinitexCmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_hbeact_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_hbecont_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_hbecontdata_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ipclose_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ipopen_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_iplisten_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t IpstackAtExecIpDnsCfgCmd(AtRequest* pIn, AtResponse* pOut);
int32_t IpStackAtExecIpListenExCmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ipsend_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ipsendex_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ipentrans_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ipflowq_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ipcfl_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_smtpcmd_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_httpcmd_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ftpcmd_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_iprcv_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ipopt_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_sslen_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_sslmng_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_sslcfg_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_sslstat_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_sslo_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_sslc_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_ssltx_cmd(AtRequest* pIn, AtResponse* pOut);
int32_t ipstack_at_exec_sslrx_cmd(AtRequest* pIn, AtResponse* pOut);

// Aborts the command the service is running; non-zero when it could not.
int32_t ipstack_at_abort_at_cmd(void);

// Called when a link reports state 6: the service forgets its SSL enabling.
void ipstack_reset_ssl_enable_status(void);
// Called with every link state report: the service resets its HTTP socket kind.
void reset_http_sock_type(void);
// The m_retenum for an error code of a 61004 record.
int32_t ipstack_get_at_errornum(uint32_t error);
// Writes the error text for a failed ^IPSENDEX into buffer, which holds
// IPSTACK_CME_TEXT_SIZE bytes; mode is the service's (2 for reports).
void ipstack_at_set_cme_error(uint32_t error, char* buffer, int32_t mode);

// Runs the heartbeat work of the IP stack.
void ipstack_hbecat_main(void);
// Heartbeat maximum-time handling; its result is the event's result.
int32_t ipstack_hbe_maxtime(int32_t arg);
}

// IP stack command relay handlers, report builders and notify callbacks, as the tables name them.
#pragma once

#include <cstdint>

#include "at_record.h"

// Result the relay gives a failed command whose service set no number.
inline constexpr int32_t IPSTACK_RET_FAIL = 98;

// Relay handlers: one per command, each serving set, query and test (the
// service branches on m_type).
int32_t at_ipstack_ipinit(AtRequest* pIn, AtResponse* pOut);
int32_t AtIpstackIpinitex(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_hbeact(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_hbecont(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_hbecontdata(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ipclose(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ipopen(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_iplisten(AtRequest* pIn, AtResponse* pOut);
int32_t AtIpstackIpDnsCfg(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_iplistenex(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ipsend(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ipsendex(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ipentrans(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ipflowq(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ipcfl(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_smtpcmd(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_httpcmd(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ftpcmd(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_iprcv(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ipopt(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_sslen(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_sslmng(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_sslcfg(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_sslstat(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_sslo(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_sslc(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_ssltx(AtRequest* pIn, AtResponse* pOut);
int32_t at_ipstack_sslrx(AtRequest* pIn, AtResponse* pOut);

// Abort of the IP stack command that is running (every row with an abort).
int32_t at_ipstack_abort(AtRequest* pIn, AtResponse* pOut);

// Report builders of module 62's events. Each reads the service's event
// record, sends one report and returns 0, or -1 (nothing sent) for a null
// record, a failed allocation or a record it refuses.
int32_t at_ipstack_ipstate_report(const void* record);
int32_t at_ipstack_sockserv_report(const void* record);
int32_t at_ipstack_iprcv_report(const void* record);
int32_t at_ipstack_ipdata_report(const void* record);
int32_t at_ipstack_unsolid_ok_report(const void* record);

// The port (m_uindex) of a service channel.
uint32_t ipstack_port_map(uint32_t channel);

extern "C" {
// First and second callback of notify module 62: a1 points to the event
// record; the builder's result, or -1 for an event the callback does not serve.
int32_t ipstack_notify_dispatch(uint32_t event, uintptr_t a1, uintptr_t a2);
int32_t ipstack_post_dispatch(uint32_t event, uintptr_t a1, uintptr_t a2);
}

// IP stack reports: link and server state, data arrival, data, late final results.
#include <cstring>

#include "ipstack.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "ipstackatapi/ipstack_trace.h"
#include "tandrel_core.h"

namespace {

// Report identifiers (m_id) and the protocol word of the reports on a channel.
constexpr uint32_t IPSTACK_ID_STATE = 50;            // ^IPSTATE, ^IPSRVST
constexpr uint32_t IPSTACK_ID_DATA = 43;             // ^IPRCVST, ^IPDATA, ^SSLRX data
constexpr uint32_t IPSTACK_ID_RESULT = 0xFFFFFFFFu;  // late final result (-1)
constexpr uint32_t IPSTACK_PROTOCOL_LINK = 1;

// Local text buffers: short reports, and the data reports whose text is
// header, up to IPSTACK_DATA_MAX bytes and "\r\n".
constexpr size_t SHORT_TEXT_SIZE = 129;
constexpr size_t DATA_TEXT_SIZE = 1541;

constexpr char kCrLf[] = "\r\n";

// The service's words are 32-bit; values are shown as the module shows
// them, with 32-bit wrap-around, whatever the width of long here.
long as_signed(uint32_t v) {
    return static_cast<long>(static_cast<int32_t>(v));
}
long plus_one(uint32_t v) {
    return as_signed(v + 1u);
}

// A copy of the service's record, so that no field is read through a
// pointer of unknown alignment.
template <typename Record>
Record read_record(const void* record) {
    Record r;
    std::memcpy(&r, record, sizeof r);
    return r;
}

// The record of one report, addressed; traced with the relay's own text
// when it could not be allocated.
AtReport take_report(ReportTo to) {
    return AtReport(to, IPSTACK_TAG, "failed to malloc mem\n");
}

// The entry of a report builder that needs its record: false (traced) when
// the record is null, else the entry trace under the name given.
bool enter_report(const void* record, const char* name) {
    if (record == nullptr) {
        IPSTACK_TRACE(TRACE_LEVEL_ERROR, "null params");
        return false;
    }
    IPSTACK_TRACE(TRACE_LEVEL_INFO, "[ipstackatapi] %s in!\n", name);
    return true;
}

// Bytes of data a 61000 record announces: its length, or the encoded size
// of that length for SSL links whose data is carried encoded.
uint64_t data_bytes(const IpstackDataEvent& ev, bool ssl) {
    if (ssl && ev.m_encoded != 0) {
        return (static_cast<uint64_t>(ev.m_len) + 2) / 3 * 4;
    }
    return ev.m_len;
}

}  // namespace

int32_t at_ipstack_ipstate_report(const void* record) {
    if (!enter_report(record, "at_ipstack_ipstate_report")) {
        return TANDREL_FAIL;
    }
    AtReport report = take_report({PCUI, IPSTACK_ID_STATE, 0});
    if (!report) {
        return TANDREL_FAIL;
    }
    const auto ev = read_record<IpstackStateEvent>(record);
    char text[SHORT_TEXT_SIZE] = {};
    new_snprintf_s(text, sizeof text - 1, sizeof text - 2, "\r\n%s: %ld,%d,%d\r\n", "^IPSTATE",
                   plus_one(ev.m_value1), static_cast<int32_t>(ev.m_value2),
                   static_cast<int32_t>(ev.m_value3));
    if (ev.m_value1 == 6) {
        ipstack_reset_ssl_enable_status();
    }
    reset_http_sock_type();
    report.send({text, strnlen(text, sizeof text)});
    return TANDREL_OK;
}

int32_t at_ipstack_sockserv_report(const void* record) {
    if (!enter_report(record, "at_ipstack_sockserv_report")) {
        return TANDREL_FAIL;
    }
    AtReport report = take_report({PCUI, IPSTACK_ID_STATE, 0});
    if (!report) {
        return TANDREL_FAIL;
    }
    const auto ev = read_record<IpstackStateEvent>(record);
    char text[SHORT_TEXT_SIZE] = {};
    new_snprintf_s(text, sizeof text - 1, sizeof text - 2, "\r\n%s: %ld,%d,%lu\r\n", "^IPSRVST",
                   as_signed(ev.m_value1), static_cast<int32_t>(ev.m_value2),
                   static_cast<unsigned long>(ev.m_value3));
    report.send({text, strnlen(text, sizeof text)});
    return TANDREL_OK;
}

int32_t at_ipstack_iprcv_report(const void* record) {
    if (!enter_report(record, "at_ipstack_ipdata_report")) {
        return TANDREL_FAIL;
    }
    const auto ev = read_record<IpstackArrivalEvent>(record);
    AtReport report =
        take_report({ipstack_port_map(ev.m_channel), IPSTACK_ID_DATA, IPSTACK_PROTOCOL_LINK});
    if (!report) {
        return TANDREL_FAIL;
    }
    char text[DATA_TEXT_SIZE] = {};
    new_snprintf_s(text, sizeof text - 1, sizeof text - 2, "\r\n%s: %ld,%d\r\n", "^IPRCVST",
                   plus_one(ev.m_link), 1);
    IPSTACK_TRACE(TRACE_LEVEL_INFO, "\r\nSending IPRCV report to kernel \r\n");
    report.send({text, strnlen(text, sizeof text)});
    return TANDREL_OK;
}

int32_t at_ipstack_ipdata_report(const void* record) {
    if (!enter_report(record, "at_ipstack_ipdata_report")) {
        return TANDREL_FAIL;
    }
    const auto ev = read_record<IpstackDataEvent>(record);
    AtReport report =
        take_report({ipstack_port_map(ev.m_channel), IPSTACK_ID_DATA, IPSTACK_PROTOCOL_LINK});
    if (!report) {
        return TANDREL_FAIL;
    }
    const bool ssl = ev.m_kind == IPSTACK_LINK_SSL_A || ev.m_kind == IPSTACK_LINK_SSL_B;
    const uint64_t count = data_bytes(ev, ssl);
    // A report announces its whole length; a cut one would make the host
    // take the next report's bytes for data. More than the record holds is
    // therefore refused, not cut.
    if (count > IPSTACK_DATA_MAX) {
        IPSTACK_TRACE(TRACE_LEVEL_ERROR,
                      "[ipstackatapi] at_ipstack_ipdata_report %llu data bytes refused\n",
                      static_cast<unsigned long long>(count));
        return TANDREL_FAIL;
    }
    char text[DATA_TEXT_SIZE] = {};
    if (ssl) {
        new_snprintf_s(text, sizeof text - 1, sizeof text - 2, "\r\n%s: %ld\r\n", "^SSLRX",
                       as_signed(ev.m_len));
    } else {
        new_snprintf_s(text, sizeof text - 1, sizeof text - 2, "\r\n%s: %ld,%ld,", "^IPDATA",
                       plus_one(ev.m_link), as_signed(ev.m_len));
    }
    const size_t header = strnlen(text, sizeof text);
    // Header, data and CRLF stay inside the text buffer; with the record's
    // limit above they always do, and nothing here relies on it.
    if (header + count + sizeof kCrLf - 1 > sizeof text) {
        IPSTACK_TRACE(TRACE_LEVEL_ERROR,
                      "[ipstackatapi] at_ipstack_ipdata_report %llu data bytes refused\n",
                      static_cast<unsigned long long>(count));
        return TANDREL_FAIL;
    }
    size_t len = header;
    osa_memcpy_s(text + len, sizeof text - len, ev.m_data, static_cast<size_t>(count));
    len += static_cast<size_t>(count);
    osa_memcpy_s(text + len, sizeof text - len, kCrLf, sizeof kCrLf - 1);
    len += sizeof kCrLf - 1;
    report.send({text, len});
    return TANDREL_OK;
}

int32_t at_ipstack_unsolid_ok_report(const void* record) {
    IPSTACK_TRACE(TRACE_LEVEL_INFO, "[ipstackatapi] at_ipstack_unsolid_ok_report in!\n");
    if (record == nullptr) {
        return TANDREL_FAIL;
    }
    const auto ev = read_record<IpstackResultEvent>(record);
    AtReport report =
        take_report({ipstack_port_map(ev.m_channel), IPSTACK_ID_RESULT, IPSTACK_PROTOCOL_LINK});
    if (!report) {
        return TANDREL_FAIL;
    }
    char text[SHORT_TEXT_SIZE] = {};
    int32_t retenum = AT_RET_OK;
    if (ev.m_cmd_kind == IPSTACK_CMD_IPSENDEX) {
        if (ev.m_error == 0 || ev.m_error == IPSTACK_ERR_502) {
            new_snprintf_s(text, sizeof text - 1, sizeof text - 2,
                           "\r\n^IPSENDEX: %ld\r\n\r\nOK\r\n", plus_one(ev.m_count));
        } else {
            static_assert(sizeof text == IPSTACK_CME_TEXT_SIZE);
            ipstack_at_set_cme_error(ev.m_error, text, 2);
            text[sizeof text - 1] = '\0';
        }
    } else if (ev.m_error == IPSTACK_ERR_TIMEOUT && ev.m_cmd_kind == IPSTACK_CMD_SSLRX) {
        strncpy_s(text, sizeof text, "\r\n^SSLRX: 0\r\nTIMEOUT\r\n\r\nOK\r\n", sizeof text - 1);
    } else if (ev.m_error == 0) {
        strncpy_s(text, sizeof text, AT_TEXT_OK, sizeof text - 1);
    } else {
        retenum = ipstack_get_at_errornum(ev.m_error);
    }
    report.send({text, strnlen(text, sizeof text)}, retenum);
    return TANDREL_OK;
}

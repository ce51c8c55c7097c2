// IP stack reports: routing, report bytes, data boundaries, late results, failure paths.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "ipstack.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "tandrel_adapters.h"

namespace {

using fake::ipstack;

constexpr uint32_t kIdLate = 0xFFFFFFFFu;

class Reports : public fake::PlatformTest {
  protected:
    // The single report sent, checked against the fields every report fixes.
    const fake::Sent& only_report(uint32_t port, uint32_t protocol, uint32_t id) {
        EXPECT_EQ(P().sent.size(), 1u);
        const fake::Sent& s = P().last_sent();
        const AtResponse r = s.record();
        EXPECT_EQ(r.m_uindex, port);
        EXPECT_EQ(r.m_magic, 0u);
        EXPECT_EQ(r.m_protocol, protocol);
        EXPECT_EQ(r.m_id, id);
        EXPECT_EQ(s.size, r.m_length + 25);
        return s;
    }
};

TEST_F(Reports, InitFailsWhenTheNotifyRegistrationFails) {
    EXPECT_EQ(at_ipstack_init(), 0);
    ASSERT_EQ(P().registered.size(), 1u);
    EXPECT_EQ(P().registered[0].module, 62u);
    P().reset();
    P().register_result = 1;
    EXPECT_EQ(at_ipstack_init(), -1);
}

TEST_F(Reports, NullRecordsAndFailedAllocationsSendNothing) {
    using Builder = int32_t (*)(const void*);
    const Builder builders[] = {at_ipstack_ipstate_report, at_ipstack_sockserv_report,
                                at_ipstack_iprcv_report, at_ipstack_ipdata_report,
                                at_ipstack_unsolid_ok_report};
    IpstackDataEvent record{};
    for (const Builder b : builders) {
        P().reset();
        EXPECT_EQ(b(nullptr), -1);
        P().fail_alloc_at = 1;
        EXPECT_EQ(b(&record), -1);
        EXPECT_TRUE(P().sent.empty());
    }
    EXPECT_TRUE(ipstack().calls.empty());
}

// The data report: header, exactly the copied bytes (NULs included), CRLF.
TEST_F(Reports, DataCopiesItsBytesWithinTheRecord) {
    struct Case {
        const char* what;
        uint32_t kind;
        uint32_t encoded;
        uint32_t n;
        std::string header;
        size_t copied;
    };
    const Case cases[] = {
        {"empty", 0, 0, 0, "\r\n^IPDATA: 1,0,", 0},
        {"one NUL byte", 0, 0, 1, "\r\n^IPDATA: 1,1,", 1},
        {"the whole record", 1, 0, 1504, "\r\n^IPDATA: 1,1504,", 1504},
        {"encoding flag of a plain link is ignored", 12, 1, 4, "\r\n^IPDATA: 1,4,", 4},
        {"SSL encoded: 4 for every 3, rounded up", 14, 1, 4, "\r\n^SSLRX: 4\r\n", 8},
        {"SSL encoded, exact", 13, 7, 3, "\r\n^SSLRX: 3\r\n", 4},
        {"SSL encoded, filling the record", 13, 1, 1128, "\r\n^SSLRX: 1128\r\n", 1504},
        {"SSL plain, filling the record", 14, 0, 1504, "\r\n^SSLRX: 1504\r\n", 1504},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        P().reset();
        IpstackDataEvent ev{};
        ev.m_link = 0;
        ev.m_channel = 6;
        ev.m_len = c.n;
        ev.m_kind = c.kind;
        ev.m_encoded = c.encoded;
        for (size_t i = 0; i < IPSTACK_DATA_MAX; ++i) {
            ev.m_data[i] = static_cast<uint8_t>(i % 251);  // NULs inside, never CR LF pairs
        }
        EXPECT_EQ(ipstack_post_dispatch(61000, reinterpret_cast<uintptr_t>(&ev), 0), 0);
        const fake::Sent& s = only_report(50, 1, 43);
        const std::string want =
            c.header + std::string(reinterpret_cast<const char*>(ev.m_data), c.copied) + "\r\n";
        EXPECT_EQ(s.record().m_length, want.size());
        EXPECT_EQ(s.text(), want);
        EXPECT_EQ(s.bytes.back(), 0) << "the wire's last byte is the NUL after the text";
    }
}

TEST_F(Reports, DataBeyondTheRecordIsRefused) {
    struct Case {
        uint32_t kind;
        uint32_t encoded;
        uint32_t n;
    };
    for (const Case c : {Case{0, 0, 1505}, Case{0, 0, 0xFFFFFFFFu}, Case{13, 0, 1505},
                         Case{13, 1, 1129}, Case{14, 1, 0xFFFFFFFFu}, Case{14, 1, 0x7FFFFFFFu}}) {
        SCOPED_TRACE(c.n);
        P().reset();
        IpstackDataEvent ev{};
        ev.m_len = c.n;
        ev.m_kind = c.kind;
        ev.m_encoded = c.encoded;
        EXPECT_EQ(at_ipstack_ipdata_report(&ev), -1);
        EXPECT_TRUE(P().sent.empty());
    }
}

TEST_F(Reports, RecordsAreReadWhereverTheyLie) {
    // The service's record need not be aligned for this daemon's types.
    std::vector<uint8_t> bytes(sizeof(IpstackDataEvent) + 1, 0);
    IpstackDataEvent ev{};
    ev.m_link = 4;
    ev.m_channel = 2;
    ev.m_len = 2;
    ev.m_data[0] = 'h';
    ev.m_data[1] = 'i';
    std::memcpy(bytes.data() + 1, &ev, sizeof ev);
    EXPECT_EQ(at_ipstack_ipdata_report(bytes.data() + 1), 0);
    EXPECT_EQ(only_report(6, 1, 43).text(), "\r\n^IPDATA: 5,2,hi\r\n");
}

TEST_F(Reports, LateFinalResults) {
    struct Case {
        const char* what;
        uint32_t kind;
        uint32_t error;
        uint32_t count;
        std::string text;
        int32_t retenum;
        std::vector<std::string> calls;
    };
    const Case cases[] = {
        {"send done", 5, 0, 2, "\r\n^IPSENDEX: 3\r\n\r\nOK\r\n", 0, {}},
        {"send done with 502", 5, 502, 0, "\r\n^IPSENDEX: 1\r\n\r\nOK\r\n", 0, {}},
        {"send failed", 5, 65, 0, "\r\n+CME ERROR: 3\r\n", 0, {"ipstack_at_set_cme_error"}},
        {"receive timed out", 18, 65, 0, "\r\n^SSLRX: 0\r\nTIMEOUT\r\n\r\nOK\r\n", 0, {}},
        {"time-out of another command", 3, 65, 0, "", 13, {"ipstack_get_at_errornum"}},
        {"other failure", 0, 7, 0, "", 13, {"ipstack_get_at_errornum"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        P().reset();
        ipstack().reset();
        ipstack().errornum_result = 13;
        IpstackResultEvent ev{};
        ev.m_cmd_kind = c.kind;
        ev.m_error = c.error;
        ev.m_count = c.count;
        ev.m_channel = 7;
        EXPECT_EQ(ipstack_notify_dispatch(61004, reinterpret_cast<uintptr_t>(&ev), 0), 0);
        const fake::Sent& s = only_report(51, 1, kIdLate);
        EXPECT_EQ(s.text(), c.text);
        EXPECT_EQ(s.record().m_retenum, c.retenum);
        EXPECT_EQ(ipstack().calls, c.calls);
        if (!c.calls.empty() && c.calls[0] == "ipstack_get_at_errornum") {
            EXPECT_EQ(ipstack().errornum_codes, std::vector<uint32_t>{c.error});
        }
        if (!c.calls.empty() && c.calls[0] == "ipstack_at_set_cme_error") {
            EXPECT_EQ(ipstack().cme_codes, std::vector<uint32_t>{c.error});
            EXPECT_EQ(ipstack().cme_mode, 2);
        }
    }
}

}  // namespace

// IP stack data reports: bytes within and beyond the record.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "fake_platform.h"
#include "ipstack.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "tandrel_adapters.h"

namespace {

using fake::ipstack;


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

// An abort the service takes (non-zero) is answered with the IP stack's
// failure number; one it does not take leaves the prepared empty answer.
TEST_F(Reports, AbortAnswersWhatTheServiceSays) {
    for (const int32_t service : {1, 0}) {
        ipstack().abort_result = service;
        AtRequest req{};
        AtResponse rsp{};
        EXPECT_EQ(at_ipstack_abort(&req, &rsp), service != 0 ? 0 : -1);
        EXPECT_EQ(rsp.m_retenum, service != 0 ? 98 : 0);
    }
    ipstack().reset();
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

// A report goes to the port of its record's channel; unknown channels to 56.
TEST_F(Reports, ChannelsMapToTheirPorts) {
    const std::pair<uint32_t, uint32_t> rows[] = {{2, 6},  {3, 3},  {4, 0},  {5, 49},
                                                  {6, 50}, {7, 51}, {8, 52}, {1, 56},
                                                  {9, 56}, {0, 56}, {0xFFFFFFFFu, 56}};
    for (const auto& [channel, port] : rows) {
        SCOPED_TRACE(channel);
        P().reset();
        const IpstackArrivalEvent ev{0, channel};
        EXPECT_EQ(at_ipstack_iprcv_report(&ev), 0);
        EXPECT_EQ(only_report(port, 1, 43).text(), "\r\n^IPRCVST: 1,1\r\n");
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

}  // namespace

// FOTA state reports: registration, event routing, report texts and records, failure paths.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "tandrel_adapters.h"
#include "update_adapter/fota_reports.h"

namespace {

class FotaReports : public fake::PlatformTest {
  protected:
    static FotaStateInfo info(uint32_t state, uint32_t detail = 0, const char* version = "",
                              uint32_t size = 0, const char* description = "") {
        FotaStateInfo i{};
        i.state = state;
        i.detail = detail;
        i.size = size;
        std::strncpy(i.version, version, sizeof i.version);
        std::strncpy(i.description, description, sizeof i.description);
        return i;
    }
    static int32_t raise_state(const FotaStateInfo& i) {
        return update_notify_handler(63000, reinterpret_cast<uintptr_t>(&i), sizeof i);
    }
    // The only report sent, checked as a FOTA report, by its text.
    std::string report() {
        EXPECT_EQ(P().sent.size(), 1u);
        if (P().sent.empty()) {
            return {};
        }
        const fake::Sent s = P().last_sent();
        P().sent.clear();
        const AtResponse r = s.record();
        EXPECT_EQ(r.m_id, 56u);
        EXPECT_EQ(r.m_retenum, 0);
        EXPECT_EQ(r.m_uindex, 0u);
        EXPECT_EQ(r.m_magic, 0u);
        EXPECT_EQ(r.m_protocol, 0u);
        EXPECT_EQ(s.size, r.m_length + 25);
        EXPECT_EQ(r.m_buffer[r.m_length], '\0');
        return s.text();
    }
    void answer_last_state(const FotaStateInfo& i) {
        P().on_send_notify = [i](uint32_t, uint32_t, void* buf, uint32_t len) {
            std::memcpy(buf, &i, std::min<size_t>(len, sizeof i));
            return 0;
        };
    }
};

TEST_F(FotaReports, InitFailsWhenRegistrationFails) {
    P().register_result = 5;
    EXPECT_EQ(at_update_init(), -1);
}

TEST_F(FotaReports, StateRecordTexts) {
    const std::pair<FotaStateInfo, std::string> cases[] = {
        // Fields a state does not show are ignored; sizes above 2^31 print negative.
        {info(12, 9, "V2", 0x80000000u, "fixes"), "\r\n^FOTASTATE: 12,V2,-2147483648,fixes\r\n"},
        {info(13, 3), "\r\n^FOTASTATE: 13,3\r\n"},
        {info(15, 4, "V2"), "\r\n^FOTASTATE: 15\r\n"},
    };
    for (const auto& [i, text] : cases) {
        EXPECT_EQ(raise_state(i), 0);
        EXPECT_EQ(report(), text);
    }
}

TEST_F(FotaReports, NewVersionTextIsBoundedByTheRecordAndTheWorkBuffer) {
    FotaStateInfo i = info(12, 0, "", 7);
    std::memset(i.version, 'v', sizeof i.version);
    std::memset(i.description, 'd', sizeof i.description);
    EXPECT_EQ(raise_state(i), 0);
    const std::string head = "\r\n^FOTASTATE: 12," + std::string(64, 'v') + ",7,";
    // The work buffer holds 1359 characters; the rest of the description is cut.
    EXPECT_EQ(report(), head + std::string(1359 - head.size(), 'd'));
}

// A record need only hold what its state's text reads; each is handed over
// in a heap copy of exactly its length, so a read past it is caught.
TEST_F(FotaReports, ShortRecordsReportWhatTheirStateReads) {
    const struct {
        FotaStateInfo info;
        uint32_t length;
        const char* text;  // nullptr: refused, nothing sent
    } cases[] = {
        {info(15), 4, "\r\n^FOTASTATE: 15\r\n"},
        {info(15), 3, nullptr},
        {info(20, 7), 1360, "\r\n^FOTASTATE: 20,7\r\n"},
        {info(20, 7), 1359, nullptr},
        {info(12, 7, "V2", 1024, "fixes"), 1356, "\r\n^FOTASTATE: 12,V2,1024,fixes\r\n"},
        {info(12, 7, "V2", 1024, "fixes"), 1355, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.info.state << " in " << c.length << " bytes");
        P().reset();
        const auto* bytes = reinterpret_cast<const uint8_t*>(&c.info);
        const std::vector<uint8_t> rec(bytes, bytes + c.length);
        EXPECT_EQ(update_notify_handler(63000, reinterpret_cast<uintptr_t>(rec.data()), c.length),
                  c.text != nullptr ? 0 : -1);
        EXPECT_EQ(P().sent.empty() ? std::string() : report(), c.text != nullptr ? c.text : "");
    }
}

TEST_F(FotaReports, RecordsThatCannotBeReadSendNothing) {
    const FotaStateInfo i = info(15);
    EXPECT_EQ(update_notify_handler(63000, 0, sizeof i), -1);
    EXPECT_EQ(update_notify_handler(63001, reinterpret_cast<uintptr_t>(&i), sizeof i), -1);
    EXPECT_EQ(update_event_dispatch(63000, 30, 1), -1);
    EXPECT_EQ(update_event_dispatch(63004, 30, 1), -1);
    EXPECT_TRUE(P().sent.empty());
}

TEST_F(FotaReports, StatePairIsSigned) {
    EXPECT_EQ(update_event_dispatch(63001, 0xFFFFFFFE, 0xFFFFFFFF), 0);
    EXPECT_EQ(report(), "\r\n^FOTASTATE: -2,-1\r\n");
}

TEST_F(FotaReports, LastStateAsksTheServiceAfterAPause) {
    answer_last_state(info(12, 0, "V3", 4096, "security"));
    EXPECT_EQ(update_event_dispatch(63002, 0, 0), 0);
    EXPECT_EQ(report(), "\r\n^FOTASTATE: 12,V3,4096,security\r\n");
    EXPECT_EQ(P().sleeps, std::vector<uint32_t>{500});
    ASSERT_EQ(P().send_notify_calls.size(), 1u);
    const fake::SendNotifyCall& c = P().send_notify_calls[0];
    EXPECT_EQ(c.module, 3u);
    EXPECT_EQ(c.event, 3035u);
    EXPECT_EQ(c.in_len, 0u);
    EXPECT_EQ(c.flags, 0u);
    EXPECT_EQ(c.buf_len, 1360u);

    for (uint32_t state : {13u, 20u}) {
        answer_last_state(info(state, 5, "V3"));
        EXPECT_EQ(update_event_dispatch(63002, 0, 0), 0);
        EXPECT_EQ(report(), "\r\n^FOTASTATE: 14\r\n") << state;
    }
}

TEST_F(FotaReports, FailedLastStateRequestSendsNothing) {
    EXPECT_EQ(update_event_dispatch(63002, 0, 0), -1);  // no module took the request
    P().on_send_notify = [](uint32_t, uint32_t, void*, uint32_t) { return 5; };
    EXPECT_EQ(update_event_dispatch(63002, 0, 0), 5);
    EXPECT_TRUE(P().sent.empty());
}

TEST_F(FotaReports, AllocationAndSendFailures) {
    const FotaStateInfo i = info(15);
    answer_last_state(i);
    // Allocations per report: work buffer and response; the last state takes
    // its record first.
    const std::pair<uint32_t, uint64_t> cases[] = {
        {63000, 1}, {63000, 2}, {63001, 2}, {63002, 1}, {63002, 3}, {63003, 2},
    };
    for (const auto& [event, nth] : cases) {
        SCOPED_TRACE(std::to_string(event) + " allocation " + std::to_string(nth));
        P().allocs = 0;
        P().fail_alloc_at = nth;
        const int32_t rc = event == 63000 ? raise_state(i) : update_event_dispatch(event, 1, 2);
        EXPECT_EQ(rc, -1);
        EXPECT_TRUE(P().sent.empty());
        EXPECT_EQ(P().live_allocs, 0);
    }
    P().fail_alloc_at = 0;
    P().send_result = -1;
    EXPECT_EQ(update_event_dispatch(63003, 0, 0), -1);
}

}  // namespace

// FOTA state reports: records bounded by their length and by the work buffer.
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
};

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

}  // namespace

// Checks of a received message and the receive back-off.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "le_bytes.h"
#include "nl_channel.h"

namespace {

constexpr uint32_t kDriver = 0x7ADD0001;

TEST(RequestCheck, VerdictOfEachMessage) {
    const struct {
        const char* what;
        uint32_t namelen, sender, driver, device_id, len;
        NlVerdict want;
    } cases[] = {
        {"valid", 12, kDriver, kDriver, 1, 9740, NlVerdict::Accept},
        {"longest", 12, kDriver, kDriver, 1, 10239, NlVerdict::Accept},
        {"from the kernel on the module", 12, 0, 0, 1, 100, NlVerdict::Accept},
        {"empty", 12, kDriver, kDriver, 1, 0, NlVerdict::BadLength},
        {"a whole buffer", 12, kDriver, kDriver, 1, 10240, NlVerdict::BadLength},
        {"device 2", 12, kDriver, kDriver, 2, 100, NlVerdict::BadDevice},
        {"device 0 (short message)", 12, kDriver, kDriver, 0, 0, NlVerdict::BadDevice},
        {"short address", 11, kDriver, kDriver, 1, 100, NlVerdict::BadNameLen},
        {"another process", 12, 4242, kDriver, 1, 100, NlVerdict::ForeignSender},
        {"a process posing as the kernel", 12, 4242, 0, 1, 100, NlVerdict::ForeignSender},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<uint8_t> msg(NL_DATA_OFFSET, 0);
        le_put_u32(&msg[16], c.device_id);
        le_put_u32(&msg[20], 0xABCD);
        le_put_u32(&msg[24], c.len);
        NlDeviceEvent ev{};
        EXPECT_EQ(nl_check_request(msg.data(), c.namelen, c.sender, c.driver, &ev), c.want);
        if (c.want != NlVerdict::BadNameLen && c.want != NlVerdict::ForeignSender) {
            EXPECT_EQ(ev.device_id, c.device_id);
            EXPECT_EQ(ev.event_code, 0xABCDu);
            EXPECT_EQ(ev.len, c.len);
        }
    }
}

TEST(RequestCheck, BindFailureTextsAndAShortRegistrationBuffer) {
    EXPECT_STREQ(nl_bind_errno_text(2), "The file does not exist.\n");
    EXPECT_EQ(nl_bind_errno_text(3), nullptr);
    uint8_t small[64] = {};
    EXPECT_EQ(nl_build_registration(g_at_cmd_table, 1, 1, small, sizeof small), 0u);
}

TEST(RequestCheck, ReceiveFailuresBackOffUpToOneSecond) {
    const struct {
        uint32_t failures, pause;
    } cases[] = {{3, 0}, {4, 10}, {10, 640}, {11, 1000}, {100000, 1000}};
    for (const auto& c : cases) {
        EXPECT_EQ(nl_recv_backoff_ms(c.failures), c.pause) << c.failures << " failures";
    }
}

// Each receive starts from a zeroed buffer; an empty or failed receive counts
// as a failure, a datagram ends the run of failures.
TEST(RequestCheck, ReceiveZeroesTheBufferAndCountsFailures) {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, fds), 0);
    uint8_t buf[64];
    memset(buf, 0xEE, sizeof buf);
    NlReceiver r{fds[0], buf, sizeof buf, 0};
    const auto zero_from = [&](size_t at) {
        return std::all_of(buf + at, buf + sizeof buf, [](uint8_t b) { return b == 0; });
    };
    ASSERT_EQ(send(fds[1], "0123456789", 10, 0), 10);
    nl_receive_one(r);
    EXPECT_EQ(memcmp(buf, "0123456789", 10), 0);
    EXPECT_TRUE(zero_from(10));
    ASSERT_EQ(send(fds[1], "", 0, 0), 0);
    nl_receive_one(r);
    EXPECT_EQ(r.failures, 1u);
    EXPECT_TRUE(zero_from(0));
    ASSERT_EQ(send(fds[1], "abc", 3, 0), 3);
    nl_receive_one(r);
    EXPECT_EQ(r.failures, 0u);
    close(fds[1]);
    close(fds[0]);
    nl_receive_one(r);  // a closed descriptor: the receive fails
    EXPECT_EQ(r.failures, 1u);
    EXPECT_TRUE(zero_from(0));
}

}  // namespace

// Checks of a received message, the bind failure texts and the receive back-off.
#include <gtest/gtest.h>

#include <cerrno>
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
        {"one byte", 12, kDriver, kDriver, 1, 1, NlVerdict::Accept},
        {"longest", 12, kDriver, kDriver, 1, 10239, NlVerdict::Accept},
        {"from the kernel on the module", 12, 0, 0, 1, 100, NlVerdict::Accept},
        {"empty", 12, kDriver, kDriver, 1, 0, NlVerdict::BadLength},
        {"a whole buffer", 12, kDriver, kDriver, 1, 10240, NlVerdict::BadLength},
        {"huge", 12, kDriver, kDriver, 1, 0xFFFFFFFF, NlVerdict::BadLength},
        {"device 2", 12, kDriver, kDriver, 2, 100, NlVerdict::BadDevice},
        {"device 0 (short message)", 12, kDriver, kDriver, 0, 0, NlVerdict::BadDevice},
        {"short address", 11, kDriver, kDriver, 1, 100, NlVerdict::BadNameLen},
        {"no address", 0, kDriver, kDriver, 1, 100, NlVerdict::BadNameLen},
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

TEST(RequestCheck, BindFailureTexts) {
    EXPECT_STREQ(nl_bind_errno_text(EACCES),
                 "Search permission is denied on a component of the path prefix. (See also "
                 "path_resolution(7).)\n");
    EXPECT_STREQ(nl_bind_errno_text(ENOENT), "The file does not exist.\n");
    EXPECT_STREQ(nl_bind_errno_text(ENAMETOOLONG), "addr is too long.\n");
    EXPECT_STREQ(nl_bind_errno_text(ELOOP), "Too many symbolic links were encountered in resolving addr.\n");
    const char* efault = nl_bind_errno_text(EFAULT);
    ASSERT_NE(efault, nullptr);
    EXPECT_EQ(std::string(efault), "addr points outside the user\xA1\xAFs accessible address space.\n");
    EXPECT_STREQ(nl_bind_errno_text(EADDRNOTAVAIL),
                 "A nonexistent interface was requested or the requested address was not local.\n");
    EXPECT_STREQ(nl_bind_errno_text(ENOMEM), "Insufficient kernel memory was available.\n");
    EXPECT_STREQ(nl_bind_errno_text(ENOTDIR), "A component of the path prefix is not a directory.\n");
    EXPECT_STREQ(nl_bind_errno_text(EROFS), "The socket inode would reside on a read-only file system.\n");
    for (int unlisted : {0, -1, EADDRINUSE, EINVAL, EPERM}) {
        EXPECT_EQ(nl_bind_errno_text(unlisted), nullptr) << unlisted;
    }
}

TEST(RequestCheck, ReceiveFailuresBackOffUpToOneSecond) {
    const struct {
        uint32_t failures, pause;
    } cases[] = {{0, 0}, {1, 0}, {3, 0}, {4, 10}, {5, 20}, {8, 160}, {10, 640}, {11, 1000}, {100000, 1000}};
    for (const auto& c : cases) {
        EXPECT_EQ(nl_recv_backoff_ms(c.failures), c.pause) << c.failures << " failures";
    }
}

}  // namespace

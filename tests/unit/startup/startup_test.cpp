// Start-up order, its failure paths, the channel's set-up failures, and the routing of module 58's
// events. The GNSS client, the adapters' inits and the socket calls are wrapped at link time, so
// the order in which tandrel_main and the netlink loop make them can be observed.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "at_kernel.h"
#include "fake_platform.h"
#include "gpsclient.h"
#include "le_bytes.h"
#include "nl_channel.h"
#include "request_builder.h"
#include "tandrel_adapters.h"
#include "tandrel_core.h"
#include "tandrel_main.h"

namespace {

struct Wraps {
    std::vector<std::string> order;    // wrapped calls as they came
    size_t platform_calls_at_gps = 0;  // fake platform calls made before gpsclient_init
    int32_t recorder_result = 0;
    int socket_fd = -1;  // socket's result (-1: fails)
    int bind_errno = 0;  // 0: bind succeeds
    std::vector<int> closed;
    // recvmsg on the fake socket: each entry one call; empty bytes = a failure.
    std::vector<std::vector<uint8_t>> received;
    size_t next_received = 0;
};
Wraps g_wraps;

constexpr int kFakeFd = 777;

}  // namespace

extern "C" {
int32_t __real_gpsclient_init(GpsClientCallbacks* callbacks);
int __real_close(int fd);

int32_t __wrap_gpsclient_init(GpsClientCallbacks* callbacks) {
    g_wraps.order.push_back("gpsclient_init");
    g_wraps.platform_calls_at_gps = fake::platform().calls.size();
    return __real_gpsclient_init(callbacks);
}
int32_t __wrap_at_ipstack_init() {
    g_wraps.order.push_back("ipstack");
    return 0;
}
int32_t __wrap_at_tts_init() {
    g_wraps.order.push_back("tts");
    return -1;  // a failing adapter does not stop the others
}
int32_t __wrap_at_update_init() {
    g_wraps.order.push_back("update");
    return 0;
}
int32_t __wrap_at_recorder_init() {
    g_wraps.order.push_back("recorder");
    return g_wraps.recorder_result;
}
int __wrap_socket(int, int, int) {
    g_wraps.order.push_back("socket");
    errno = EPROTONOSUPPORT;
    return g_wraps.socket_fd;
}
int __wrap_bind(int, const sockaddr*, socklen_t) {
    g_wraps.order.push_back("bind");
    errno = g_wraps.bind_errno;
    return g_wraps.bind_errno == 0 ? 0 : -1;
}
ssize_t __real_recvmsg(int fd, msghdr* m, int flags);
ssize_t __wrap_recvmsg(int fd, msghdr* m, int flags) {
    if (fd != kFakeFd) {
        return __real_recvmsg(fd, m, flags);
    }
    if (g_wraps.next_received >= g_wraps.received.size() ||
        g_wraps.received[g_wraps.next_received].empty()) {
        ++g_wraps.next_received;
        errno = ENOBUFS;
        return -1;
    }
    const std::vector<uint8_t>& d = g_wraps.received[g_wraps.next_received++];
    const size_t n = std::min(d.size(), m->msg_iov[0].iov_len);
    memcpy(m->msg_iov[0].iov_base, d.data(), n);
    static_cast<sockaddr_nl*>(m->msg_name)->nl_pid = 0;  // the kernel, as the fakes' driver
    m->msg_namelen = sizeof(sockaddr_nl);
    return static_cast<ssize_t>(n);
}
int __wrap_close(int fd) {
    if (fd == kFakeFd) {
        g_wraps.closed.push_back(fd);
        return 0;
    }
    return __real_close(fd);
}
}  // extern "C"

namespace {

class Startup : public fake::PlatformTest {
  protected:
    void SetUp() override {
        PlatformTest::SetUp();
        g_wraps = Wraps{};
        g_user_fd = -1;
    }
};

using Order = std::vector<std::string>;

TEST_F(Startup, BusThenGnssClientThenAdaptersThenSocket) {
    tandrel_netlink_msg_process();
    EXPECT_EQ(g_wraps.order,
              (Order{"gpsclient_init", "ipstack", "tts", "update", "recorder", "socket"}));
    ASSERT_EQ(g_wraps.platform_calls_at_gps, 2u);
    EXPECT_EQ(P().calls[0], "init_notify");
    EXPECT_EQ(P().calls[1], "register_notify_handler:58");
    const GpsClientCallbacks& cb = fake::services().gps_callbacks;
    EXPECT_EQ(cb.status_cb, &AT_status_cb);
    EXPECT_EQ(cb.nmea_cb, &AT_nmea_cb);
    EXPECT_EQ(cb.nipara_cb, &AT_nipara_cb);
}

TEST_F(Startup, BusFailureSkipsTheServicesButNotTheSocket) {
    const struct {
        int32_t init, reg;
        bool services;
    } cases[] = {{-1, 0, false}, {-2, 0, true}, {0, -1, false}, {0, 1, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.init) + " " + std::to_string(c.reg));
        P().reset();
        g_wraps = Wraps{};
        P().init_notify_result = c.init;
        P().register_result = c.reg;
        tandrel_netlink_msg_process();
        EXPECT_EQ(g_wraps.order.back(), "socket");
        EXPECT_EQ(g_wraps.order.size(), c.services ? 6u : 1u);
    }
}

TEST_F(Startup, BindOrMemoryFailureClosesTheSocket) {
    for (const bool bind_fails : {true, false}) {
        SCOPED_TRACE(bind_fails);
        P().reset();
        g_wraps = Wraps{};
        g_wraps.socket_fd = kFakeFd;
        g_wraps.bind_errno = bind_fails ? EADDRINUSE : 0;
        P().fail_alloc_at = bind_fails ? 0 : 1;
        tandrel_netlink_msg_process();
        EXPECT_EQ(g_wraps.closed, (std::vector<int>{kFakeFd}));
        EXPECT_EQ(g_user_fd, -1) << "no channel";
    }
    EXPECT_EQ(P().calls.back(), "boot_check_update_info") << "checked once the socket is bound";
}

TEST_F(Startup, PersistentReceiveFailuresBackOffUntilAMessageArrives) {
    // Six failures, one request, four failures: the pauses start with the
    // fourth failure in a row, double, and start again after a message.
    fake::RequestBytes req("^WPQOS", 1);
    std::vector<uint8_t> datagram(NL_DATA_OFFSET, 0);
    le_put_u32(&datagram[NL_EVENT_OFFSET], 1);
    le_put_u32(&datagram[NL_EVENT_OFFSET + 8], 100);
    datagram.insert(datagram.end(), req.data(), req.data() + 100);
    g_wraps.received = {{}, {}, {}, {}, {}, {}, datagram, {}, {}, {}, {}};

    std::vector<uint8_t> buf(10268);
    NlReceiver r{kFakeFd, buf.data(), static_cast<uint32_t>(buf.size()), 0};
    for (size_t i = 0; i < g_wraps.received.size(); ++i) {
        nl_receive_one(r);
    }
    EXPECT_EQ(P().sleeps, (std::vector<uint32_t>{10, 20, 40, 10}));
    EXPECT_EQ(r.failures, 4u);
    ASSERT_EQ(P().posted.size(), 1u);
    EXPECT_EQ(P().posted[0].event, 58001u);
    EXPECT_EQ(P().posted[0].data, std::vector<uint8_t>(req.data(), req.data() + 100));
}

TEST_F(Startup, EachReceiveSeesZerosPastWhatItReceived) {
    // A datagram that announces more bytes than it carries reads as zeros
    // beyond them, whatever the datagrams before it left in the buffer.
    const struct {
        uint32_t announced;
        size_t carried;  // 0: a failed receive
    } steps[] = {{3000, 3000}, {0, 0}, {600, 10}, {10239, 10239}, {10239, 1}};
    std::vector<std::vector<uint8_t>> sent;
    for (const auto& s : steps) {
        std::vector<uint8_t> d;
        if (s.carried != 0) {
            d.assign(NL_DATA_OFFSET, 0);
            le_put_u32(&d[NL_EVENT_OFFSET], 1);
            le_put_u32(&d[NL_EVENT_OFFSET + 8], s.announced);
            d.resize(NL_DATA_OFFSET + s.carried, static_cast<uint8_t>(0x11 * sent.size() + 1));
        }
        sent.push_back(d);
    }
    g_wraps.received = sent;
    std::vector<uint8_t> buf(10268, 0xEE);  // left over from the registration
    NlReceiver r{kFakeFd, buf.data(), static_cast<uint32_t>(buf.size()), 0};
    for (size_t i = 0; i < std::size(steps); ++i) {
        SCOPED_TRACE(i);
        const size_t posts = P().posted.size();
        nl_receive_one(r);
        if (steps[i].carried == 0) {
            continue;
        }
        ASSERT_EQ(P().posted.size(), posts + 1);
        std::vector<uint8_t> want(steps[i].announced, 0);
        std::copy_n(sent[i].begin() + NL_DATA_OFFSET, steps[i].carried, want.begin());
        EXPECT_EQ(P().posted.back().data, want);
    }
}

class EventRouting : public fake::PlatformTest {};

TEST_F(EventRouting, HeartbeatTimerCodes) {
    const struct {
        uint32_t code;
        int32_t result;
        std::vector<std::string> calls;
    } cases[] = {
        {12, 0, {"ipstack_hbecat_main"}},
        {13, 77, {"ipstack_hbe_maxtime"}},
        {14, 0, {"ipstack_hbecat_main"}},
        {15, -1, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        fake::services().reset();
        fake::services().hbe_maxtime_result = 77;
        EXPECT_EQ(tandrel_event_dispatch(58014, c.code, 0), c.result);
        EXPECT_EQ(fake::services().calls, c.calls);
        EXPECT_EQ(fake::services().hbe_maxtime_arg, c.code == 13 ? 3 : -1);
    }
}

TEST_F(EventRouting, EventsWithoutAHandlerAnswerMinusOneAndCallNothing) {
    fake::RequestBytes r("^WPQOS", 1);
    for (uint32_t event : {58000u, 58016u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(event);
        EXPECT_EQ(tandrel_event_dispatch(event, r.size(), reinterpret_cast<uintptr_t>(r.data())),
                  -1);
    }
    EXPECT_TRUE(P().sent.empty());
    EXPECT_TRUE(fake::services().calls.empty());
}

}  // namespace

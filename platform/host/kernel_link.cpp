// Host side of the link to the kernel AT driver: responses to the simulated driver's port over NETLINK_USERSOCK.
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "at_kernel.h"
#include "host_env.h"
#include "nl_channel.h"
#include "tandrel_trace.h"

namespace {
// Above any process id, so it never clashes with a daemon's own port.
constexpr uint32_t kDefaultDriverPid = 0x7ADD0001;
}  // namespace

extern "C" {

int g_user_fd = -1;
pthread_mutex_t at_response = PTHREAD_MUTEX_INITIALIZER;

// A development kernel has no protocol 27: the simulated driver is a process
// on NETLINK_USERSOCK, at the port id the tool that started it names.
int platform_nl_protocol(void) { return NETLINK_USERSOCK; }

uint32_t platform_nl_driver_pid(void) {
    static const uint32_t pid = [] {
        int64_t v = kDefaultDriverPid;
        host_env_number("TANDREL_NL_DRIVER_PID", 0, UINT32_MAX, &v);
        return static_cast<uint32_t>(v);
    }();
    return pid;
}

// One datagram: a netlink header and exactly `size` bytes of the record.
int32_t send_at_response_to_kernel(AtResponse* rsp, uint32_t size) {
    if (rsp == nullptr || size > sizeof(AtResponse)) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "send_at_response_to_kernel: bad record (size %u)\n",
                          size);
        return -1;
    }
    // The sender's port id is the process id, which the daemon (it never
    // forks) reads once rather than with a system call per response.
    static const auto self = static_cast<uint32_t>(getpid());
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(sizeof header) + size;
    header.nlmsg_pid = self;
    iovec iov[2] = {{&header, sizeof header}, {rsp, size}};
    sockaddr_nl driver{};
    driver.nl_family = AF_NETLINK;
    driver.nl_pid = platform_nl_driver_pid();
    msghdr m{};
    m.msg_name = &driver;
    m.msg_namelen = sizeof driver;
    m.msg_iov = iov;
    m.msg_iovlen = 2;

    pthread_mutex_lock(&at_response);
    const int fd = std::atomic_ref<int>(g_user_fd).load(std::memory_order_acquire);
    const ssize_t sent = sendmsg(fd, &m, 0);
    const int err = errno;
    pthread_mutex_unlock(&at_response);
    if (sent < 0) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR,
                          "send_at_response_to_kernel: sendmsg on fd %d failed, errno %d\n", fd, err);
        return -1;
    }
    return 0;
}

}  // extern "C"

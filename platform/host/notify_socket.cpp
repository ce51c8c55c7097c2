// The notify bus's datagram socket in the run directory, through which other processes raise events.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host_env.h"
#include "notify_bus_internal.h"
#include "notify_wire.h"
#include "tandrel_trace.h"

namespace {

// At most this many datagrams per wake-up, so posted events are not starved.
constexpr int kDrainBatch = 64;

// Whether a live process is bound to path: connecting to a datagram socket
// succeeds only while someone holds it.
bool socket_in_use(const sockaddr_un& addr) {
    const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (probe < 0) {
        return false;
    }
    const bool used = connect(probe, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) == 0;
    close(probe);
    return used;
}

// Events reach handlers with their words as given, pointers included, so
// only the daemon's own user (or root) may send them.
bool sender_permitted(msghdr& m) {
    for (cmsghdr* c = CMSG_FIRSTHDR(&m); c != nullptr; c = CMSG_NXTHDR(&m, c)) {
        if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_CREDENTIALS &&
            c->cmsg_len >= CMSG_LEN(sizeof(ucred))) {
            ucred cred{};
            memcpy(&cred, CMSG_DATA(c), sizeof cred);
            return cred.uid == geteuid() || cred.uid == 0;
        }
    }
    return false;
}

NotifyWireStatus take(msghdr& m, ssize_t n, const uint8_t* data) {
    if (!sender_permitted(m)) {
        return NotifyWireStatus::NotPermitted;
    }
    if ((m.msg_flags & MSG_TRUNC) != 0) {
        return NotifyWireStatus::TooLarge;
    }
    NotifyEvent e{};
    const NotifyWireStatus s = notify_wire_accept(data, static_cast<uint32_t>(n), &e);
    if (s != NotifyWireStatus::Queued) {
        return s;
    }
    if (!notify_bus_has_callback(e.module, e.slot)) {
        return NotifyWireStatus::UnknownModule;
    }
    return notify_bus_raise_padded(e, NOTIFY_WIRE_MIN_COPY) == 0 ? NotifyWireStatus::Queued : NotifyWireStatus::Failed;
}

}  // namespace

int notify_socket_open(void) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (!host_run_path(NOTIFY_SOCKET_NAME, addr.sun_path, sizeof addr.sun_path)) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify socket: no usable path in the run directory\n");
        return -1;
    }
    if (socket_in_use(addr)) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify socket %s is held by another process\n",
                          addr.sun_path);
        return -1;
    }
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify socket: socket failed, errno %d\n", errno);
        return -1;
    }
    unlink(addr.sun_path);  // left behind by a daemon that is gone
    // Credentials are asked for before the first datagram can arrive.
    const int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0 ||
        bind(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0 ||
        chmod(addr.sun_path, 0600) != 0) {
        TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify socket %s: set-up failed, errno %d\n",
                          addr.sun_path, errno);
        close(fd);
        return -1;
    }
    TANDREL_TRACE_TAG("host", TRACE_LEVEL_INFO, "notify socket %s open\n", addr.sun_path);
    return fd;
}

void notify_socket_drain(int fd) {
    static uint8_t data[NOTIFY_WIRE_MAX_SIZE];  // the bus socket thread only
    for (int i = 0; i < kDrainBatch; ++i) {
        sockaddr_un from{};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
        iovec iov{data, sizeof data};
        msghdr m{};
        m.msg_name = &from;
        m.msg_namelen = sizeof from;
        m.msg_iov = &iov;
        m.msg_iovlen = 1;
        m.msg_control = control;
        m.msg_controllen = sizeof control;
        const ssize_t n = recvmsg(fd, &m, MSG_DONTWAIT);
        if (n < 0) {
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify socket: recvmsg failed, errno %d\n", errno);
            }
            return;
        }
        const NotifyWireStatus s = take(m, n, data);
        if (s != NotifyWireStatus::Queued) {
            TANDREL_TRACE_TAG("host", TRACE_LEVEL_ERROR, "notify socket: event refused: %s\n",
                              notify_wire_status_text(s));
        }
        // A sender that bound an address of its own gets the verdict.
        if (m.msg_namelen > sizeof(sa_family_t)) {
            uint8_t reply[NOTIFY_WIRE_REPLY_SIZE];
            notify_wire_encode_reply(s, reply);
            sendto(fd, reply, sizeof reply, MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&from),
                   m.msg_namelen);
        }
    }
}

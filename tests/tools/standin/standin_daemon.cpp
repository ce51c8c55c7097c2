// A stand-in for the daemon's netlink side: registers the command table with the driver and
// answers each request through the daemon's own dispatch, with recording fakes as platform.
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fake_platform.h"
#include "registration_bytes.h"
#include "tandrel_core.h"

namespace {

uint32_t env_u32(const char* name, uint32_t fallback) {
    const char* v = std::getenv(name);
    return v != nullptr && *v != '\0' ? static_cast<uint32_t>(std::strtoul(v, nullptr, 10)) : fallback;
}

bool send_to(int fd, uint32_t port_id, const std::vector<uint8_t>& msg) {
    sockaddr_nl to{};
    to.nl_family = AF_NETLINK;
    to.nl_pid = port_id;
    return sendto(fd, msg.data(), msg.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to) >= 0;
}

}  // namespace

int main() {
    const uint32_t driver = env_u32("TANDREL_NL_DRIVER_PID", 0x7ADD0001);
    g_m2m_type = static_cast<int32_t>(env_u32("TANDREL_M2M_TYPE", 0));
    const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK);
    sockaddr_nl me{};
    me.nl_family = AF_NETLINK;
    me.nl_pid = static_cast<uint32_t>(getpid());
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&me), sizeof me) != 0) {
        std::perror("standin daemon: netlink");
        return 1;
    }
    if (!send_to(fd, driver, standin::registration_message(me.nl_pid))) {
        std::perror("standin daemon: registration");
    }
    std::vector<uint8_t> buf(10268);
    for (;;) {
        const ssize_t n = recv(fd, buf.data(), buf.size(), 0);
        if (n < 28) {
            continue;
        }
        uint32_t device_id = 0;
        uint32_t len = 0;
        std::memcpy(&device_id, &buf[16], 4);
        std::memcpy(&len, &buf[24], 4);
        if (device_id != 1 || len == 0 || len >= 10240 || len > static_cast<size_t>(n) - 28) {
            continue;
        }
        fake::platform().reset();
        nl_syswatch_event_report(len, &buf[28]);
        for (const fake::Sent& s : fake::platform().sent) {
            std::vector<uint8_t> msg(16, 0);
            const uint32_t total = static_cast<uint32_t>(16 + s.bytes.size());
            std::memcpy(&msg[0], &total, 4);
            std::memcpy(&msg[12], &me.nl_pid, 4);
            msg.insert(msg.end(), s.bytes.begin(), s.bytes.end());
            send_to(fd, driver, msg);
        }
    }
}

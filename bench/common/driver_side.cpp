#include "driver_side.h"

#include <fcntl.h>
#include <linux/netlink.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

extern char** environ;

namespace bench {

int driver_socket(uint32_t port, int rcvbuf_bytes, int send_timeout_s, int recv_timeout_s) {
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
    if (fd < 0) {
        return -1;
    }
    if (rcvbuf_bytes > 0 &&
        setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &rcvbuf_bytes, sizeof rcvbuf_bytes) != 0) {
        (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &rcvbuf_bytes, sizeof rcvbuf_bytes);
    }
    if (send_timeout_s > 0) {
        const timeval t{send_timeout_s, 0};
        (void)setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &t, sizeof t);
    }
    if (recv_timeout_s > 0) {
        const timeval t{recv_timeout_s, 0};
        (void)setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &t, sizeof t);
    }
    sockaddr_nl a{};
    a.nl_family = AF_NETLINK;
    a.nl_pid = port;
    if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

pid_t spawn_with_env(const std::vector<std::string>& argv,
                     const std::vector<std::string>& env_first, const std::string& log) {
    std::vector<std::string> env = env_first;
    for (char** e = environ; *e != nullptr; ++e) {
        env.emplace_back(*e);  // the ones above win: the first of a name counts
    }
    std::vector<char*> ev;
    for (std::string& e : env) {
        ev.push_back(e.data());
    }
    ev.push_back(nullptr);
    std::vector<std::string> args = argv;
    std::vector<char*> av;
    for (std::string& a : args) {
        av.push_back(a.data());
    }
    av.push_back(nullptr);
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    if (!log.empty()) {
        posix_spawn_file_actions_addopen(&fa, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_adddup2(&fa, 1, 2);
    }
    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, av[0], &fa, nullptr, av.data(), ev.data());
    posix_spawn_file_actions_destroy(&fa);
    return rc == 0 ? pid : -1;
}

uint64_t status_kb(pid_t pid, const char* field) {
    std::ifstream f("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(f, line)) {
        if (line.rfind(field, 0) == 0) {
            return std::strtoull(line.c_str() + std::strlen(field), nullptr, 10);
        }
    }
    return 0;
}

bool parse_u64(const char* s, uint64_t& out) {
    char* end = nullptr;
    errno = 0;
    const unsigned long long v = std::strtoull(s, &end, 10);
    if (errno != 0 || end == s || *end != '\0') {
        return false;
    }
    out = v;
    return true;
}

}  // namespace bench

// The daemon as a process, driven by a test that plays the kernel AT driver on a real
// NETLINK_USERSOCK socket.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "at_cmd_table.h"
#include "driver_wire.h"
#include "host_test_support.h"
#include "le_bytes.h"

namespace {

using Bytes = std::vector<uint8_t>;

int netlink_socket(uint32_t port) {
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
    sockaddr_nl a{};
    a.nl_family = AF_NETLINK;
    a.nl_pid = port;
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        return -1;
    }
    return fd;
}

// An AtRequest of n bytes (at most the record's 9740 are meaningful).
Bytes request(const char* cmd, uint32_t type, uint32_t port, uint32_t magic, size_t n = 9740) {
    Bytes r(n, 0);
    le_put_u32(&r[0], port);
    le_put_u32(&r[4], magic);
    le_put_u32(&r[8], type);
    memcpy(&r[13], cmd, strlen(cmd));
    return r;
}

class Daemon : public ::testing::Test {
  protected:
    void SetUp() override {
        driver_port_ = test_unique_port(1);
        driver_ = netlink_socket(driver_port_);
        ASSERT_GE(driver_, 0) << "driver port " << driver_port_ << " taken";
        dir_ = test_run_dir() + "/daemon";
        mkdir(dir_.c_str(), 0700);
        pid_ = start({TANDREL_DAEMON_PATH},
                     {"TANDREL_RUN_DIR=" + dir_, "TANDREL_NL_DRIVER_PID=" + std::to_string(driver_port_)},
                     dir_ + "/tandrel.log");
        ASSERT_GT(pid_, 0);
        uint32_t from = 0;
        registration_ = receive(5000, &from);
        ASSERT_FALSE(registration_.empty()) << "no registration from the daemon";
        ASSERT_EQ(from, static_cast<uint32_t>(pid_));
    }
    void TearDown() override {
        stop(pid_, SIGKILL);
        close(driver_);
    }

    // One datagram, or nothing after timeout_ms.
    Bytes receive(int timeout_ms, uint32_t* from = nullptr) {
        pollfd p{driver_, POLLIN, 0};
        if (poll(&p, 1, timeout_ms) != 1) {
            return {};
        }
        Bytes b(20000);
        sockaddr_nl src{};
        socklen_t len = sizeof src;
        const ssize_t n =
            recvfrom(driver_, b.data(), b.size(), 0, reinterpret_cast<sockaddr*>(&src), &len);
        b.resize(n > 0 ? static_cast<size_t>(n) : 0);
        if (from != nullptr)
            *from = src.nl_pid;
        return b;
    }

    void send(int fd, uint32_t device_id, uint32_t len, const Bytes& data) {
        const Bytes m = driver_wire::datagram(device_id, len, data);
        ASSERT_EQ(driver_wire::send_to(fd, static_cast<uint32_t>(pid_), m),
                  static_cast<ssize_t>(m.size()));
    }

    uint32_t driver_port_ = 0;
    int driver_ = -1;
    std::string dir_;
    pid_t pid_ = -1;
    Bytes registration_;
};

TEST_F(Daemon, AnswersRequestsFromTheDriverOnlyAndDropsMalformedOnes) {
    const int stranger = netlink_socket(test_unique_port(2));
    ASSERT_GE(stranger, 0);
    send(driver_, 1, 9740, request("^WPQOS", 1, 0, 101));
    send(driver_, 2, 9740, request("^WPQOS", 1, 0, 102));          // device_id 2
    send(driver_, 1, 0, request("^WPQOS", 1, 0, 103));             // len 0
    send(driver_, 1, 10240, request("^WPQOS", 1, 0, 104, 10240));  // len 10240
    send(stranger, 1, 9740, request("^WPQOS", 1, 0, 105));         // not the driver
    send(driver_, 1, 10239, request("^WPQOS", 1, 0, 106, 10239));  // longest accepted
    send(driver_, 1, 9740, request("^wpqos", 2, 54, 107));         // any case, port 54
    send(driver_, 1, 9740, request("^WPQOS", 1, 5, 108));          // port 5 refused
    close(stranger);

    const struct {
        uint32_t magic, port;
        int32_t retenum;
    } want[] = {{101, 0, 20}, {106, 0, 20}, {107, 54, 20}, {108, 5, 10}};
    for (const auto& w : want) {
        SCOPED_TRACE(w.magic);
        const Bytes r = receive(5000);
        // Header (length, type, flags, sequence, sender), then the answer record: port, magic,
        // protocol, id, result, text length 0 and its terminating zero.
        Bytes want(41, 0);
        le_put_u32(&want[0], 41);
        le_put_u32(&want[12], static_cast<uint32_t>(pid_));
        le_put_u32(&want[16], w.port);
        le_put_u32(&want[20], w.magic);
        le_put_u32(&want[32], static_cast<uint32_t>(w.retenum));
        EXPECT_EQ(r, want);
    }
    EXPECT_TRUE(receive(300).empty()) << "an answer to a dropped message";
}

}  // namespace

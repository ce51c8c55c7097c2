// The driver process end to end: a terminal program on a PTY port, a daemon peer on netlink.
#include <fcntl.h>
#include <ftw.h>
#include <linux/netlink.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "registration_bytes.h"
#include "tandrel_core.h"

namespace {

using namespace std::chrono_literals;

void put32(std::vector<uint8_t>& b, size_t off, uint32_t v) {
    for (size_t i = 0; i < 4; ++i) {
        b[off + i] = static_cast<uint8_t>(v >> (8 * i));
    }
}

uint32_t get32(const std::vector<uint8_t>& b, size_t off) {
    uint32_t v = 0;
    std::memcpy(&v, &b[off], 4);
    return v;
}

struct Received {
    std::vector<uint8_t> datagram;
    uint32_t from = 0;
    AtRequest req{};
};

class DriverProcess : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/atsim-test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        driver_id_ = 0x7B000000u + static_cast<uint32_t>(getpid());
        peer_ = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
        ASSERT_GE(peer_, 0);
        sockaddr_nl me{};
        me.nl_family = AF_NETLINK;
        me.nl_pid = static_cast<uint32_t>(getpid());
        ASSERT_EQ(bind(peer_, reinterpret_cast<sockaddr*>(&me), sizeof me), 0) << strerror(errno);
        peer_id_ = me.nl_pid;
    }

    void TearDown() override {
        for (int fd : terminals_) {
            close(fd);
        }
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            int st = 0;
            waitpid(pid_, &st, 0);
            EXPECT_TRUE(WIFEXITED(st) && WEXITSTATUS(st) == 0) << "driver did not stop cleanly";
        }
        for (const char* name : {"pcui", "nmea", "port5"}) {
            EXPECT_NE(access((dir_ + "/" + name).c_str(), F_OK), 0) << name << " link left behind";
        }
        close(peer_);
        close(status_);
        nftw(dir_.c_str(), [](const char* p, const struct stat*, int, FTW*) { return remove(p); },
             8, FTW_DEPTH | FTW_PHYS);
    }

    void start(const std::vector<std::string>& extra = {}) {
        int st[2];
        ASSERT_EQ(pipe2(st, O_CLOEXEC), 0);
        const std::string log = dir_ + "/atsim.log";
        const std::string id = std::to_string(driver_id_);
        pid_ = fork();
        ASSERT_GE(pid_, 0);
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(fd, 2);
            dup2(st[1], 3);
            setenv("TANDREL_NL_DRIVER_PID", id.c_str(), 1);
            std::vector<std::string> args = {TANDREL_ATSIM_EXE, "--run-dir", dir_, "--status-fd", "3"};
            args.insert(args.end(), extra.begin(), extra.end());
            std::vector<char*> argv;
            for (auto& a : args) {
                argv.push_back(a.data());
            }
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(st[1]);
        status_ = st[0];
        ASSERT_EQ(status_line(), "ports");
    }

    std::string status_line(std::chrono::milliseconds wait = 10s) {
        std::string line;
        char c = 0;
        while (true) {
            pollfd p{status_, POLLIN, 0};
            if (poll(&p, 1, static_cast<int>(wait.count())) <= 0 || read(status_, &c, 1) != 1) {
                return "<none>";
            }
            if (c == '\n') {
                return line;
            }
            line.push_back(c);
        }
    }

    void send_to_driver(const std::vector<uint8_t>& msg) {
        sockaddr_nl to{};
        to.nl_family = AF_NETLINK;
        to.nl_pid = driver_id_;
        ASSERT_GE(sendto(peer_, msg.data(), msg.size(), 0,
                         reinterpret_cast<sockaddr*>(&to), sizeof to),
                  0)
            << strerror(errno);
    }

    void register_table() {
        send_to_driver(standin::registration_message(peer_id_));
        ASSERT_EQ(status_line(), "registered " + std::to_string(peer_id_));
    }

    std::optional<Received> next_request(std::chrono::milliseconds wait = 5s) {
        pollfd p{peer_, POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(wait.count())) <= 0) {
            return std::nullopt;
        }
        Received r;
        r.datagram.resize(65536);
        sockaddr_nl from{};
        socklen_t len = sizeof from;
        const ssize_t n = recvfrom(peer_, r.datagram.data(), r.datagram.size(), 0,
                                   reinterpret_cast<sockaddr*>(&from), &len);
        if (n < 28) {
            return std::nullopt;
        }
        r.datagram.resize(static_cast<size_t>(n));
        r.from = from.nl_pid;
        std::memcpy(&r.req, &r.datagram[28], std::min(sizeof r.req, r.datagram.size() - 28));
        return r;
    }

    // An AtResponse datagram for port 0: header, the text and a NUL.
    std::vector<uint8_t> response(uint32_t magic, int32_t ret, const std::string& text) {
        std::vector<uint8_t> d(16 + 24 + text.size() + 1, 0);
        put32(d, 0, static_cast<uint32_t>(d.size()));
        put32(d, 12, peer_id_);
        put32(d, 20, magic);
        put32(d, 32, static_cast<uint32_t>(ret));
        put32(d, 36, static_cast<uint32_t>(text.size()));
        std::memcpy(&d[40], text.data(), text.size());
        return d;
    }

    int terminal(const char* name) {
        const int fd = open((dir_ + "/" + name).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(fd, 0) << name << ": " << strerror(errno);
        termios t{};
        tcgetattr(fd, &t);
        cfmakeraw(&t);
        tcsetattr(fd, TCSANOW, &t);
        terminals_.push_back(fd);
        return fd;
    }

    // As a person types: one character per write.
    static void type(int fd, const std::string& s) {
        for (char c : s) {
            ASSERT_EQ(write(fd, &c, 1), 1);
            std::this_thread::sleep_for(1ms);
        }
    }

    // What the terminal receives until n bytes have come or the wait is over.
    static std::string read_n(int fd, size_t n, std::chrono::milliseconds wait = 5s) {
        std::string got;
        const auto until = std::chrono::steady_clock::now() + wait;
        char buf[512];
        while (got.size() < n) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                until - std::chrono::steady_clock::now());
            pollfd p{fd, POLLIN, 0};
            if (left.count() <= 0 || poll(&p, 1, static_cast<int>(left.count())) <= 0) {
                break;
            }
            const ssize_t r = read(fd, buf, sizeof buf);
            if (r <= 0) {
                break;
            }
            got.append(buf, static_cast<size_t>(r));
        }
        return got;
    }
    std::string dir_;
    uint32_t driver_id_ = 0;
    uint32_t peer_id_ = 0;
    int peer_ = -1;
    int status_ = -1;
    pid_t pid_ = -1;
    std::vector<int> terminals_;
};

TEST_F(DriverProcess, TerminalLineBecomesARequestAndItsAnswerComesBack) {
    start();
    register_table();
    const int pcui = terminal("pcui");
    type(pcui, "AT^WPQOS?\r");
    const auto r = next_request();
    ASSERT_TRUE(r);
    EXPECT_EQ(r->from, driver_id_);
    EXPECT_EQ(r->datagram.size(), 28u + sizeof(AtRequest));
    EXPECT_EQ(get32(r->datagram, 12), driver_id_);  // nlmsg_pid
    EXPECT_EQ(get32(r->datagram, 16), 1u);          // device_id
    EXPECT_EQ(get32(r->datagram, 20), 0u);          // event_code
    EXPECT_EQ(get32(r->datagram, 24), sizeof(AtRequest));
    EXPECT_EQ(r->req.m_uindex, 0u);
    EXPECT_EQ(r->req.m_type, NL_TYPE_QUERY);
    EXPECT_STREQ(r->req.m_atcmd, "^WPQOS");
    EXPECT_NE(r->req.m_magic, 0u);
    send_to_driver(response(r->req.m_magic, 20, ""));
    // Echo is on for a person's terminal.
    const std::string expected = "AT^WPQOS?\r\r\n+CME ERROR: 20\r\n";
    EXPECT_EQ(read_n(pcui, expected.size()), expected);

}

}  // namespace

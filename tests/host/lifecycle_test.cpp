// The daemon and the simulated AT driver as processes: a daemon restarted against a running driver,
// a driver that vanishes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host_test_support.h"

namespace {

using namespace std::chrono_literals;

// CPU time (user + system) the process has used, in clock ticks.
long cpu_ticks(pid_t pid) {
    std::ifstream f("/proc/" + std::to_string(pid) + "/stat");
    std::string stat((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    // The fields after the command name, which is in parentheses.
    std::istringstream rest(stat.substr(stat.rfind(')') + 2));
    std::string field;
    long utime = 0, stime = 0;
    for (int i = 3; i <= 15 && rest >> field; ++i) {
        if (i == 14)
            utime = std::stol(field);
        if (i == 15)
            stime = std::stol(field);
    }
    return utime + stime;
}

class DaemonLifecycle : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = test_run_dir() + "/lifecycle-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name();
        mkdir(dir_.c_str(), 0700);
        env_ = {"TANDREL_RUN_DIR=" + dir_,
                "TANDREL_NL_DRIVER_PID=" + std::to_string(test_unique_port(3))};
        start_driver();
    }
    void TearDown() override {
        stop(daemon_, SIGKILL);
        stop(driver_, SIGTERM);
        if (terminal_ >= 0)
            close(terminal_);
        if (status_ >= 0)
            close(status_);
    }

    void start_driver() {
        int st[2];
        ASSERT_EQ(pipe2(st, O_CLOEXEC), 0);
        driver_ = start({TANDREL_ATSIM_PATH, "--run-dir", dir_, "--status-fd", "3", "--no-echo"},
                        env_, dir_ + "/atsim.log", st[1]);
        close(st[1]);
        if (status_ >= 0)
            close(status_);
        status_ = st[0];
        ASSERT_EQ(status_line(), "ports");
        if (terminal_ >= 0)
            close(terminal_);
        terminal_ = open((dir_ + "/pcui").c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_GE(terminal_, 0) << strerror(errno);
        termios t{};
        tcgetattr(terminal_, &t);
        cfmakeraw(&t);
        tcsetattr(terminal_, TCSANOW, &t);
    }

    void start_daemon() {
        daemon_ = start({TANDREL_DAEMON_PATH}, env_, dir_ + "/tandrel.log");
        ASSERT_GT(daemon_, 0);
        ASSERT_EQ(status_line(), "registered " + std::to_string(daemon_));
    }

    // The driver's next status line other than the "done" of an answered line.
    std::string status_line(std::chrono::milliseconds wait = 20s) {
        std::string line;
        char c = 0;
        for (;;) {
            pollfd p{status_, POLLIN, 0};
            if (poll(&p, 1, static_cast<int>(wait.count())) <= 0 || read(status_, &c, 1) != 1) {
                return "<none>";
            }
            if (c != '\n') {
                line.push_back(c);
            } else if (line.rfind("done ", 0) == 0) {
                line.clear();
            } else {
                return line;
            }
        }
    }

    // Types a line on PCUI and returns what the terminal receives for it.
    std::string command(const std::string& line, size_t answer_size) {
        const std::string typed = line + "\r";
        EXPECT_EQ(write(terminal_, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
        std::string got;
        const auto until = std::chrono::steady_clock::now() + 10s;
        char buf[256];
        while (got.size() < answer_size && std::chrono::steady_clock::now() < until) {
            pollfd p{terminal_, POLLIN, 0};
            if (poll(&p, 1, 100) == 1) {
                const ssize_t n = read(terminal_, buf, sizeof buf);
                if (n > 0)
                    got.append(buf, static_cast<size_t>(n));
            }
        }
        return got;
    }

    std::string dir_;
    std::vector<std::string> env_;
    pid_t driver_ = -1;
    pid_t daemon_ = -1;
    int status_ = -1;
    int terminal_ = -1;
};

const std::string kNotSupported = "\r\n+CME ERROR: 20\r\n";

TEST_F(DaemonLifecycle, KilledDaemonStartedAgainRegistersAndServes) {
    start_daemon();
    EXPECT_EQ(command("AT^WPQOS?", kNotSupported.size()), kNotSupported);
    stop(daemon_, SIGKILL);
    start_daemon();
    EXPECT_EQ(command("AT^WPQOS?", kNotSupported.size()), kNotSupported);
}

TEST_F(DaemonLifecycle, DaemonWaitsIdleWhenTheDriverIsGone) {
    start_daemon();
    stop(driver_, SIGKILL);
    // Work that ends in a send to the vanished driver: a report raised on the bus.
    const std::string report_hex =
        "370000000000000000000000"
        "3a0000000000000004000000"
        "0d0a4f4b";
    int status = -1;
    for (int attempt = 0; attempt < 50; ++attempt) {
        // Exit status 3: the bus socket is not there yet.
        const pid_t notify = start({TANDREL_NOTIFY_PATH, "--run-dir", dir_, "--first", "--ptr-len",
                                    "--hex", report_hex, "58", "58000"},
                                   {}, dir_ + "/notify.log");
        waitpid(notify, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 3)
            break;
        std::this_thread::sleep_for(100ms);
    }
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "report posted";
    const long before = cpu_ticks(daemon_);
    std::this_thread::sleep_for(1s);
    const long used = cpu_ticks(daemon_) - before;
    EXPECT_LE(used, sysconf(_SC_CLK_TCK) / 20) << "CPU ticks in one second without a driver";
    EXPECT_EQ(waitpid(daemon_, nullptr, WNOHANG), 0) << "the daemon is still running";
}

}  // namespace

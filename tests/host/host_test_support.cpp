// Shared by the host tests: a private run directory per test process, and a running bus loop.
#include "host_test_support.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "notify_bus.h"
#include "qsp_notify.h"

namespace {
struct RunDir {
    std::string path;
    RunDir() {
        char tmpl[] = "/tmp/tandrel-test-XXXXXX";
        const char* made = mkdtemp(tmpl);
        path = made != nullptr ? made : "/tmp";
        setenv("TANDREL_RUN_DIR", path.c_str(), 1);
    }
    ~RunDir() {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
};
}  // namespace

const std::string& test_run_dir() {
    static RunDir dir;
    return dir.path;
}

uint32_t test_unique_port(uint32_t k) {
    // Above every process id the kernel hands out and below the ids it
    // assigns itself (negative as int32).
    return 0x70000000u + (static_cast<uint32_t>(getpid()) << 4) + (k & 0xF);
}

pid_t start(const std::vector<std::string>& argv, const std::vector<std::string>& env,
            const std::string& log, int status_fd) {
    const pid_t pid = fork();
    if (pid != 0) {
        return pid;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    dup2(fd, 1);
    dup2(fd, 2);
    if (status_fd >= 0) {
        dup2(status_fd, 3);
    }
    for (const std::string& e : env) {
        putenv(const_cast<char*>(e.c_str()));
    }
    std::vector<char*> av;
    for (const std::string& a : argv)
        av.push_back(const_cast<char*>(a.c_str()));
    av.push_back(nullptr);
    execv(av[0], av.data());
    _exit(127);
}

void stop(pid_t& pid, int sig) {
    if (pid > 0) {
        kill(pid, sig);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }
}

void BusLoop::SetUp() {
    test_run_dir();
    ASSERT_EQ(init_notify(), 0);
    ASSERT_EQ(QSP_UTIL_SockBaseRegEvtProc(), 0);
    loop_ = std::thread([] { QSP_UTIL_SockBaseStart(nullptr); });
}

void BusLoop::TearDown() {
    notify_bus_stop();
    loop_.join();
}

// Shared by the host tests: a private run directory per test process, and a running bus loop.
#include "host_test_support.h"

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

// Shared by the host tests: a private run directory per test process, and a running bus loop.
#pragma once

#include <gtest/gtest.h>

#include <sys/types.h>

#include <string>
#include <thread>
#include <vector>

// A fresh directory for this test process, exported as TANDREL_RUN_DIR
// before the platform first reads it; removed when the process ends.
const std::string& test_run_dir();

// A unique-enough 32-bit number for this process, for netlink port ids that
// must not collide with parallel test runs.
uint32_t test_unique_port(uint32_t k);

// Starts argv with extra environment; its standard output and error go to
// log, and status_fd (if not -1) becomes its descriptor 3. The child dies with
// the test.
pid_t start(const std::vector<std::string>& argv, const std::vector<std::string>& env,
            const std::string& log, int status_fd = -1);

// Sends sig to a started process (if any) and reaps it.
void stop(pid_t& pid, int sig);

// Runs the bus's event loop on a thread of its own for the length of a test.
class BusLoop : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    std::thread::id loop_id() const { return loop_.get_id(); }

private:
    std::thread loop_;
};

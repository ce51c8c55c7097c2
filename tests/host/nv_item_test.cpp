// NV items on the host: files in the run directory, replaced whole, kept across a daemon restart.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host_env.h"
#include "host_test_support.h"
#include "nv_item.h"

extern char** environ;

namespace {

std::string item_file(uint32_t item) {
    return test_run_dir() + "/nv_" + std::to_string(item) + ".bin";
}

void write_file(const std::string& path, const std::string& bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f << bytes;
}

TEST(NvItem, WrittenWholeAndReadBack) {
    test_run_dir();
    std::vector<uint8_t> r(120, 0xAB);
    ASSERT_EQ(NV_Read(58, r.data(), 120), 0);
    EXPECT_EQ(r, std::vector<uint8_t>(120, 0)) << "a missing item reads as zeros";
    std::vector<uint8_t> w(120);
    for (size_t i = 0; i < w.size(); ++i) {
        w[i] = static_cast<uint8_t>(i);
    }
    ASSERT_EQ(NV_Write(58, w.data(), 120), 0);
    struct stat st {};
    ASSERT_EQ(stat(item_file(58).c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 120);
    EXPECT_NE(stat((item_file(58) + ".tmp").c_str(), &st), 0) << "temporary file left";

    // A half-written temporary file from an earlier crash is never read.
    write_file(item_file(58) + ".tmp", "torn");
    ASSERT_EQ(NV_Read(58, r.data(), 120), 0);
    EXPECT_EQ(r, w);
    w[119] = 0xEE;
    ASSERT_EQ(NV_Write(58, w.data(), 120), 0);
    ASSERT_EQ(NV_Read(58, r.data(), 120), 0);
    EXPECT_EQ(r, w);

    // A file that is not an item of the size asked for is refused.
    EXPECT_NE(NV_Read(58, r.data(), 119), 0);
    write_file(item_file(59), std::string(121, 'x'));
    EXPECT_NE(NV_Read(59, r.data(), 120), 0);
    EXPECT_NE(NV_Read(58, nullptr, 120), 0);
    EXPECT_NE(NV_Write(58, nullptr, 120), 0);
}

// A writer killed at any moment leaves the old item or the new one.
TEST(NvItem, KilledWriterLeavesOldOrNewItem) {
    test_run_dir();
    host_run_dir();  // decided before the fork, so the child writes in the same place
    const std::vector<uint8_t> a(120, 0xA5), b(120, 0x5A);
    ASSERT_EQ(NV_Write(60, a.data(), 120), 0);
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int i = 0;; ++i) {
                NV_Write(60, (i % 2 == 0 ? b : a).data(), 120);
            }
        }
        usleep(static_cast<useconds_t>(200 + round * 350));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        std::vector<uint8_t> r(120);
        ASSERT_EQ(NV_Read(60, r.data(), 120), 0);
        EXPECT_TRUE(r == a || r == b);
    }
}

// Runs a batch through the emulated module in the given run directory and
// returns what the PCUI terminal received.
std::string sim_batch(const std::string& dir, const std::string& lines) {
    const std::string batch = dir + "/batch.at";
    write_file(batch, lines);
    const std::string out = dir + "/out.txt";
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<std::string> args = {TANDREL_SIM_PATH, "--batch",          batch, "--run-dir", dir,
                                     "--daemon",       TANDREL_DAEMON_PATH};
    std::vector<char*> argv;
    for (std::string& s : args)
        argv.push_back(s.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, argv[0], &fa, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&fa);
    if (rc != 0) {
        return "spawn failed";
    }
    int status = 0;
    waitpid(pid, &status, 0);
    std::ifstream f(out, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

TEST(DaemonRestart, AssistanceSettingsInItem58SurviveIt) {
    const std::string dir = test_run_dir() + "/restart";
    mkdir(dir.c_str(), 0700);
    EXPECT_EQ(sim_batch(dir, "AT^SUPLMODE=1\n"), "\r\nOK\r\n");
    // A new daemon reads the item afresh.
    EXPECT_EQ(sim_batch(dir, "AT^SUPLMODE?\nAT^AGPSTYPECFG?\n"),
              "\r\n^SUPLMODE: 1\r\n\r\nOK\r\n\r\n^AGPSTYPECFG: 4\r\n\r\nOK\r\n");
    struct stat st {};
    ASSERT_EQ(stat((dir + "/nv_58.bin").c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 120);
}

}  // namespace

// ^FILEIO: parameter checks, the write lock across files, the RAM file's size and data during the call.
#include <gtest/gtest.h>

#include "audio_fixture.h"
#include "recorder.h"
#include "recorderatapi/recorder_at_handlers.h"

namespace {

using audio_test::AudioTest;
using audio_test::Outcome;
using fake::RequestBytes;

class FileIo : public AudioTest {
protected:
    static RequestBytes fileio(std::vector<std::string> paras, uint32_t type = 0) {
        RequestBytes r("^FILEIO", type);
        for (const std::string& p : paras) {
            r.text(p);
        }
        return r;
    }
    // A write packet of a transfer: position done of total.
    static RequestBytes write(const std::string& file, const std::string& done,
                              const std::string& total) {
        return fileio({"2", "\"" + file + "\"", "0", "512", done, total, "\"00FF\""});
    }
    Outcome run(RequestBytes r) { return call(at_recorder_fileio_exec, r); }
    int32_t retenum(RequestBytes r) { return run(std::move(r))->m_retenum; }
};

TEST_F(FileIo, ParameterChecks) {
    const struct {
        const char* what;
        std::vector<std::string> paras;
        int32_t retenum;  // -1: reaches the engine
    } cases[] = {
        {"no parameters", {}, 196},
        {"operation not a number", {"r", "\"rec1\""}, 196},
        {"empty file name", {"1", ""}, 196},
        {"refused file name", {"1", "\"bad\""}, 196},
        {"read with two parameters", {"1", "\"rec1\""}, -1},
        {"read missing 5 and 6", {"1", "\"rec1\"", "0", "10"}, 196},
        {"read with numbers", {"1", "\"rec1\"", "0", "10", "1", "2"}, -1},
        {"write missing 5 and 6", {"2", "\"rec1\"", "0"}, 196},
        {"unknown operation", {"9", "\"rec1\"", "x"}, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        fake::audio().reset();
        fake::audio().rejected_names = {"bad"};
        const Outcome o = run(fileio(c.paras));
        if (c.retenum < 0) {
            EXPECT_EQ(o.ret, 0);
            EXPECT_EQ(fake::audio().calls.size(), 1u);
            EXPECT_EQ(o.text(), "\r\nOK\r\n");
        } else {
            EXPECT_EQ(o.ret, -1);
            EXPECT_TRUE(fake::audio().calls.empty());
            EXPECT_EQ(o->m_retenum, c.retenum);
            EXPECT_EQ(o->m_length, 0u);
        }
        EXPECT_EQ(g_fileio_write_index, -1);
        EXPECT_EQ(g_fileio_inprg, 0);
    }
}

TEST_F(FileIo, WriteIntoRamCountsAcknowledgedBytes) {
    fake::audio().fileio_events = {fake::ack_packet(1, 512)};
    int32_t target_during = 1;
    fake::audio().during_fileio = [&] { target_during = g_fileio_ram_target; };
    EXPECT_EQ(retenum(write("RAM", "1", "3")), 0);
    EXPECT_EQ(target_during, 0);
    EXPECT_EQ(g_fileio_ram_target, -1);
    EXPECT_EQ(g_fileio_write_index, 0);
    EXPECT_EQ(ram_written_size, 512);
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 1,512\r\n");
    EXPECT_EQ(P().last_sent().record().m_id, 79u);
    EXPECT_EQ(fake::audio().saved_ram_sizes, std::vector<int32_t>{512});

    fake::audio().fileio_events = {fake::ack_packet(2, 300)};
    run(write("RAM", "2", "3"));
    EXPECT_EQ(ram_written_size, 812);
    fake::audio().fileio_events = {fake::ack_packet(3, 10)};
    run(write("RAM", "3", "3"));
    EXPECT_EQ(fake::audio().saved_ram_sizes, (std::vector<int32_t>{512, 812, 822}));
    EXPECT_EQ(ram_written_size, 0) << "a complete transfer starts the count afresh";
    EXPECT_EQ(g_fileio_write_index, -1);

    // Deleting RAM stores size 0.
    fake::audio().fileio_events.clear();
    fake::audio().saved_ram_sizes.clear();
    run(fileio({"3", "\"RAM\""}));
    EXPECT_EQ(fake::audio().saved_ram_sizes, std::vector<int32_t>{0});
    EXPECT_EQ(ram_written_size, 0);
    EXPECT_EQ(g_fileio_write_index, -1);
}

TEST_F(FileIo, AcknowledgementsOfOrdinaryFilesDoNotCount) {
    fake::audio().fileio_events = {fake::ack_packet(1, 512)};
    run(write("rec1", "1", "2"));
    EXPECT_EQ(ram_written_size, 0);
    EXPECT_TRUE(fake::audio().saved_ram_sizes.empty());
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 1,512\r\n");
}

TEST_F(FileIo, ReadOfRamReportsDataAndTracksItsSize) {
    ram_written_size = 10;
    fake::audio().fileio_events = {fake::read_packet("ABCDEF", 100), fake::read_packet("0A0B", 97)};
    EXPECT_EQ(retenum(fileio({"1", "\"RAM\"", "0", "0", "0", "5"})), 0);
    EXPECT_EQ(fake::audio().fileio_event_results, (std::vector<int32_t>{0, 0}));
    ASSERT_EQ(P().sent.size(), 2u);
    EXPECT_EQ(P().sent[0].text(), "\r\n^FILEIO: 3,100\r\n\"ABCDEF\"");
    EXPECT_EQ(P().sent[0].size, 26u + 25u);
    EXPECT_EQ(P().sent[1].text(), "\r\n^FILEIO: 2,97\r\n\"0A0B\"");
    EXPECT_EQ(fake::audio().saved_ram_sizes, (std::vector<int32_t>{100, 97}));
    EXPECT_EQ(ram_written_size, 5);
}

TEST_F(FileIo, RefusedRamWriteLeavesNoRamTarget) {
    run(write("rec1", "1", "2"));
    EXPECT_EQ(retenum(write("RAM", "1", "2")), 195);
    EXPECT_EQ(g_fileio_ram_target, -1);
    fake::audio().fileio_events = {fake::read_packet("ABCD", 50)};
    run(fileio({"1", "\"rec3\""}));
    EXPECT_TRUE(fake::audio().saved_ram_sizes.empty());
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 2,50\r\n\"ABCD\"");
}

TEST_F(FileIo, NestedRequestDuringTheCallIsRefused) {
    Outcome nested{0, nullptr};
    fake::audio().during_fileio = [&] { nested = run(fileio({"1", "\"rec2\""})); };
    EXPECT_EQ(retenum(fileio({"1", "\"rec1\""})), 0);
    ASSERT_NE(nested.rsp, nullptr);
    EXPECT_EQ(nested.ret, -1);
    EXPECT_EQ(nested->m_retenum, 195);
    EXPECT_EQ(g_fileio_inprg, 0);
    EXPECT_EQ(fake::audio().calls.size(), 1u);
}

}  // namespace

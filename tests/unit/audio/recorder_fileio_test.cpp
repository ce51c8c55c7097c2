// ^FILEIO: the RAM file's size counted from acknowledgements, and a request nested in the call.
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

TEST_F(FileIo, WriteIntoRamCountsAcknowledgedBytes) {
    fake::audio().fileio_events = {fake::ack_packet(1, 512)};
    int32_t target_during = 1;
    fake::audio().during_fileio = [&] { target_during = recorder_file_state().fileio_ram_target; };
    EXPECT_EQ(retenum(write("RAM", "1", "3")), 0);
    EXPECT_EQ(target_during, 0);
    EXPECT_EQ(recorder_file_state().fileio_ram_target, -1);
    EXPECT_EQ(recorder_file_state().fileio_write_index, 0);
    EXPECT_EQ(recorder_file_state().ram_written_size, 512);
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 1,512\r\n");
    EXPECT_EQ(P().last_sent().record().m_id, 79u);
    EXPECT_EQ(fake::audio().saved_ram_sizes, std::vector<int32_t>{512});

    fake::audio().fileio_events = {fake::ack_packet(2, 300)};
    run(write("RAM", "2", "3"));
    EXPECT_EQ(recorder_file_state().ram_written_size, 812);
    fake::audio().fileio_events = {fake::ack_packet(3, 10)};
    run(write("RAM", "3", "3"));
    EXPECT_EQ(fake::audio().saved_ram_sizes, (std::vector<int32_t>{512, 812, 822}));
    EXPECT_EQ(recorder_file_state().ram_written_size, 0)
        << "a complete transfer starts the count afresh";
    EXPECT_EQ(recorder_file_state().fileio_write_index, -1);

    // Deleting RAM stores size 0.
    fake::audio().fileio_events.clear();
    fake::audio().saved_ram_sizes.clear();
    run(fileio({"3", "\"RAM\""}));
    EXPECT_EQ(fake::audio().saved_ram_sizes, std::vector<int32_t>{0});
    EXPECT_EQ(recorder_file_state().ram_written_size, 0);
    EXPECT_EQ(recorder_file_state().fileio_write_index, -1);
}

TEST_F(FileIo, NestedRequestDuringTheCallIsRefused) {
    Outcome nested{0, nullptr};
    fake::audio().during_fileio = [&] { nested = run(fileio({"1", "\"rec2\""})); };
    EXPECT_EQ(retenum(fileio({"1", "\"rec1\""})), 0);
    ASSERT_NE(nested.rsp, nullptr);
    EXPECT_EQ(nested.ret, -1);
    EXPECT_EQ(nested->m_retenum, 195);
    EXPECT_EQ(recorder_file_state().fileio_inprg, 0);
    EXPECT_EQ(fake::audio().calls.size(), 1u);
}

}  // namespace

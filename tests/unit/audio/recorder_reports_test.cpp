// The recorder's "^FILEIO" reports built from untrusted payloads: sizes and lengths.
#include <gtest/gtest.h>

#include "audio_fixture.h"
#include "recorder.h"
#include "recorderatapi/recorder_at_handlers.h"

namespace {

using audio_test::AudioTest;

class RecorderReports : public AudioTest {
protected:
    void TearDown() override {
        g_IsRamRecordInProgress = 0;
        AudioTest::TearDown();
    }
    template <typename T>
    int32_t raise(uint32_t event, const T& payload, uintptr_t len = sizeof(T)) {
        return callback(NOTIFY_MODULE_RECORDER)(event, reinterpret_cast<uintptr_t>(&payload), len);
    }
};

TEST_F(RecorderReports, ReadPacketsFitTheWorkBufferOrAreDropped) {
    // The report text holds at most 1540 characters; with file size 0 the
    // header of 1520 characters is 18 long, so 1520 data characters and their
    // quotes fill it exactly.
    const RecorderFileData fits = fake::read_packet(std::string(1520, 'F'), 0);
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, fits), 0);
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 760,0\r\n\"" + std::string(1520, 'F') + "\"");
    EXPECT_EQ(P().last_sent().text().size(), 1540u);

    recorder_set_file_state({.fileio_ram_target = 0, .ram_written_size = 1000});
    const RecorderFileData too_long = fake::read_packet(std::string(1521, 'F'), 0);
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, too_long), -1);
    EXPECT_EQ(P().sent.size(), 1u);
    // What the engine read out of RAM is still counted.
    EXPECT_EQ(fake::audio().saved_ram_sizes, std::vector<int32_t>{0});
    EXPECT_EQ(recorder_file_state().ram_written_size, 240);
    recorder_set_file_state({});
}

TEST_F(RecorderReports, MalformedLengthsAreDropped) {
    recorder_set_file_state({.fileio_write_index = 0, .ram_written_size = 100});
    RecorderFileData beyond = fake::read_packet("AB", 1);
    beyond.data_len = 1542;
    const RecorderFileData negative_read = fake::read_packet("", 1);
    RecorderFileData negative = negative_read;
    negative.data_len = -2;
    for (const RecorderFileData& p : {beyond, negative}) {
        EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, p), -1);
    }
    EXPECT_TRUE(P().sent.empty());
    EXPECT_EQ(recorder_file_state().ram_written_size, 100);
    // An acknowledgement reports and counts whatever length it carries.
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, fake::ack_packet(2, -5)), 0);
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 2,-5\r\n");
    EXPECT_EQ(recorder_file_state().ram_written_size, 95);

    // Counts that would overflow the RAM size saturate.
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, fake::ack_packet(2, 2147483647)), 0);
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, fake::ack_packet(3, 2147483647)), 0);
    EXPECT_EQ(recorder_file_state().ram_written_size, 2147483647);
    recorder_set_file_state({});
}

TEST_F(RecorderReports, ShortPayloadsReadAsZeros) {
    // Up to the kind byte: read data, the packet number missing.
    RecorderFileData p = fake::read_packet("AB", 5);
    p.packet_no = 9;
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, p, 1560), 0);
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 1,5\r\n\"AB\"");
    // Without the kind byte the packet reads as an acknowledgement of packet 0.
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, p, 10), 0);
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 0,2\r\n");
}

}  // namespace

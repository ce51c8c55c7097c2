// The recorder's reports: "^AUDEND", the ring character and "^FILEIO" data, built from untrusted payloads.
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

TEST_F(RecorderReports, AudendTexts) {
    const struct {
        RecorderAudendInfo info;
        uintptr_t len;
        const char* text;
        std::vector<int32_t> saved;
        int32_t ram_flag_after;
    } cases[] = {
        {{0, 5, 6, -1}, 16, "\r\n^AUDEND: 5,6\r\n", {}, 1},
        {{1, 5, 6, 4000}, 16, "\r\n^AUDEND: 5,6,4000\r\n", {4000}, 0},
        {{1, 4294967295u, 4294967295u, -2147483647 - 1}, 16,
         "\r\n^AUDEND: 4294967295,4294967295,-2147483648\r\n", {-2147483647 - 1}, 0},
        // A payload without the third value reads it as absent.
        {{1, 7, 8, 4000}, 12, "\r\n^AUDEND: 7,8\r\n", {}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        P().sent.clear();
        fake::audio().saved_ram_sizes.clear();
        g_IsRamRecordInProgress = 1;
        rec_tts_at_cmd_perm_set(AUDIO_PERM_RECORDER);
        EXPECT_EQ(raise(RECORDER_EVT_AUDEND, c.info, c.len), 0);
        ASSERT_EQ(P().sent.size(), 1u);
        const fake::Sent& s = P().last_sent();
        EXPECT_EQ(s.text(), c.text);
        EXPECT_EQ(s.size, strlen(c.text) + 25);
        EXPECT_EQ(s.record().m_id, 60u);
        EXPECT_EQ(fake::audio().saved_ram_sizes, c.saved);
        EXPECT_EQ(g_IsRamRecordInProgress, c.ram_flag_after);
        EXPECT_EQ(rec_tts_at_cmd_perm_get(), AUDIO_PERM_FREE);
    }
}

TEST_F(RecorderReports, AudendWithoutARecordKeepsThePath) {
    rec_tts_at_cmd_perm_set(AUDIO_PERM_RECORDER);
    g_IsRamRecordInProgress = 1;
    P().fail_alloc_at = P().allocs + 1;
    EXPECT_EQ(raise(RECORDER_EVT_AUDEND, RecorderAudendInfo{1, 0, 0, 10}), -1);
    EXPECT_TRUE(P().sent.empty());
    EXPECT_EQ(rec_tts_at_cmd_perm_get(), AUDIO_PERM_RECORDER);
    EXPECT_EQ(g_IsRamRecordInProgress, 1);
    EXPECT_TRUE(fake::audio().saved_ram_sizes.empty());
}

TEST_F(RecorderReports, Ring) {
    const struct {
        char c;
        uintptr_t len;
        std::string text;
    } cases[] = {{'R', 1, "R"}, {'\0', 1, ""}, {'X', 0, ""}};
    for (const auto& c : cases) {
        P().sent.clear();
        EXPECT_EQ(raise(RECORDER_EVT_RING, c.c, c.len), 0);
        ASSERT_EQ(P().sent.size(), 1u);
        EXPECT_EQ(P().last_sent().text(), c.text);
        EXPECT_EQ(P().last_sent().size, c.text.size() + 25);
        EXPECT_EQ(P().last_sent().record().m_id, 0u);
    }
}

TEST_F(RecorderReports, FileDataTexts) {
    RecorderFileData unterminated_name = fake::tag_packet("rec", "", 12);
    std::memset(unterminated_name.file_name, 'n', sizeof unterminated_name.file_name);
    RecorderFileData nul_inside = fake::read_packet("ABCDEF", 9);
    nul_inside.data[3] = '\0';
    const struct {
        const char* what;
        RecorderFileData pkt;
        std::string text;  // empty: nothing sent
    } cases[] = {
        {"one character, bare", fake::read_packet("A", 7), "\r\n^FILEIO: 0,7\r\nA"},
        {"file name filling its field", unterminated_name,
         "\r\n^FILEIO: \"nnnnnnnnnn\",12\r\n"},
        {"unknown tag", fake::tag_packet("what", "", 3), "\r\n^FILEIO: 0,3\r\n"},
        {"size above 2^31 as signed", fake::read_packet("00", 4294967295u),
         "\r\n^FILEIO: 1,-1\r\n\"00\""},
        {"data cut at a NUL", nul_inside, "\r\n^FILEIO: 3,9\r\n\"ABC"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        P().sent.clear();
        EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, c.pkt), 0);
        ASSERT_EQ(P().sent.size(), 1u);
        EXPECT_EQ(P().last_sent().text(), c.text);
        EXPECT_EQ(P().last_sent().size, c.text.size() + 25);
        EXPECT_EQ(P().last_sent().record().m_id, 79u);
    }
}

TEST_F(RecorderReports, RamSizeTagStoresTheSizeSilently) {
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, fake::tag_packet("ram_size", "", 2048)), 0);
    EXPECT_TRUE(P().sent.empty());
    EXPECT_EQ(fake::audio().saved_ram_sizes, std::vector<int32_t>{2048});
}

TEST_F(RecorderReports, ReadPacketsFitTheWorkBufferOrAreDropped) {
    // The report text holds at most 1540 characters; with file size 0 the
    // header of 1520 characters is 18 long, so 1520 data characters and their
    // quotes fill it exactly.
    const RecorderFileData fits = fake::read_packet(std::string(1520, 'F'), 0);
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, fits), 0);
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 760,0\r\n\"" + std::string(1520, 'F') + "\"");
    EXPECT_EQ(P().last_sent().text().size(), 1540u);

    g_fileio_ram_target = 0;
    ram_written_size = 1000;
    const RecorderFileData too_long = fake::read_packet(std::string(1521, 'F'), 0);
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, too_long), -1);
    EXPECT_EQ(P().sent.size(), 1u);
    // What the engine read out of RAM is still counted.
    EXPECT_EQ(fake::audio().saved_ram_sizes, std::vector<int32_t>{0});
    EXPECT_EQ(ram_written_size, 240);
    g_fileio_ram_target = -1;
}

TEST_F(RecorderReports, MalformedLengthsAreDropped) {
    g_fileio_write_index = 0;
    ram_written_size = 100;
    RecorderFileData beyond = fake::read_packet("AB", 1);
    beyond.data_len = 1542;
    const RecorderFileData negative_read = fake::read_packet("", 1);
    RecorderFileData negative = negative_read;
    negative.data_len = -2;
    for (const RecorderFileData& p : {beyond, negative}) {
        EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, p), -1);
    }
    EXPECT_TRUE(P().sent.empty());
    EXPECT_EQ(ram_written_size, 100);
    // An acknowledgement reports and counts whatever length it carries.
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, fake::ack_packet(2, -5)), 0);
    EXPECT_EQ(P().last_sent().text(), "\r\n^FILEIO: 2,-5\r\n");
    EXPECT_EQ(ram_written_size, 95);

    // Counts that would overflow the RAM size saturate.
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, fake::ack_packet(2, 2147483647)), 0);
    EXPECT_EQ(raise(RECORDER_EVT_FILEDATA, fake::ack_packet(3, 2147483647)), 0);
    EXPECT_EQ(ram_written_size, 2147483647);
    g_fileio_write_index = -1;
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

TEST_F(RecorderReports, DispatchRefusesForeignEventsAndMissingPayloads) {
    const char ring = 'R';
    for (const uint32_t event : {79001u, 79003u, 68000u}) {
        EXPECT_EQ(recorder_event_dispatch(event, reinterpret_cast<uintptr_t>(&ring), 1), -1);
    }
    EXPECT_EQ(recorder_notify_stub(79000, reinterpret_cast<uintptr_t>(&ring), 1), -1);
    EXPECT_TRUE(P().sent.empty());
    for (const uint32_t event : {79000u, 79002u, 79009u}) {
        EXPECT_EQ(recorder_event_dispatch(event, 0, 16), -1) << event;
    }
    EXPECT_TRUE(P().sent.empty());
}

}  // namespace

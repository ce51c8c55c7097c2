// The simulated client's assistance uploads: chunks out of order or of a changed total are refused
// and never applied. The in-order sessions are checked through the daemon by assistance.at.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "gpsclient.h"
#include "sim_gnss_agnss.h"

namespace {

int32_t tls_chunk(uint32_t tls_len, uint32_t index, const std::string& text, int32_t* err) {
    GpsTlsCfg c{};
    c.tls_len = tls_len;
    c.index = index;
    memcpy(c.data, text.data(), text.size());
    c.length = static_cast<uint16_t>(text.size());
    return gpsclient_TLSCFG(GPS_OP_SET, &c, err);
}

int32_t xml(int32_t total, int32_t index, int32_t* err) {
    GpsXmlDataChunk c{};
    c.total = total;
    c.index = index;
    c.data[0] = 'x';
    return gpsclient_xmldata(GPS_OP_SET, &c, err);
}

int32_t lto(int32_t total, int32_t index, int32_t length, int32_t* err) {
    GpsLtoDataChunk c{};
    c.total = total;
    c.index = index;
    c.length = length;
    return gpsclient_LTOdata(GPS_OP_SET, &c, err);
}

TEST(SimAgnss, ChunksOutOfOrderAreRefusedAndNothingIsApplied) {
    sim_gnss_agnss_reset();
    int32_t err = 0;
    ASSERT_EQ(tls_chunk(650, 1, std::string(300, 'a'), &err), 1);
    EXPECT_EQ(tls_chunk(650, 3, std::string(50, 'c'), &err), 0) << "chunk 2 is missing";
    EXPECT_EQ(err, 281);

    const struct { int32_t total, index; } refused[] = {{2, 2}, {0, 0}, {2, 3}, {-1, 1}};
    for (const auto& r : refused) {
        SCOPED_TRACE(testing::Message() << r.total << "/" << r.index);
        err = 0;
        EXPECT_EQ(xml(r.total, r.index, &err), 0);
        EXPECT_EQ(err, 281);
    }
    // A changed total drops the upload in progress.
    ASSERT_EQ(lto(3, 1, 256, &err), 1);
    EXPECT_EQ(lto(4, 2, 256, &err), 0);
    EXPECT_EQ(lto(3, 2, 256, &err), 0);
    EXPECT_EQ(lto(1, 1, 257, &err), 0) << "longer than a chunk";
    const SimAgnssStatus st = sim_gnss_agnss_status();
    EXPECT_EQ(st.xml_uploads, 0u);
    EXPECT_EQ(st.lto_uploads, 0u);
    sim_gnss_agnss_reset();
}

}  // namespace

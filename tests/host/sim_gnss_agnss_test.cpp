// The simulated client's assistance side: certificate store, chunk assembly, locks, injections.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "gpsclient.h"
#include "sim_gnss_agnss.h"

namespace {

class SimAgnss : public ::testing::Test {
  protected:
    void SetUp() override { sim_gnss_agnss_reset(); }
    void TearDown() override { sim_gnss_agnss_reset(); }
};

int32_t tls_chunk(uint32_t tls_len, uint32_t index, const std::string& text, int32_t* err) {
    GpsTlsCfg c{};
    c.tls_len = tls_len;
    c.index = index;
    memcpy(c.data, text.data(), text.size());
    c.length = static_cast<uint16_t>(text.size());
    return gpsclient_TLSCFG(GPS_OP_SET, &c, err);
}

GpsTlsCfg tls_read() {
    GpsTlsCfg c{};
    int32_t err = 0;
    EXPECT_EQ(gpsclient_TLSCFG(GPS_OP_GET, &c, &err), 1);
    return c;
}

TEST_F(SimAgnss, CertificateIsAssembledInOrder) {
    int32_t err = 0;
    ASSERT_EQ(tls_chunk(650, 1, std::string(300, 'a'), &err), 1);
    EXPECT_EQ(tls_chunk(650, 3, std::string(50, 'c'), &err), 0) << "chunk 2 is missing";
    EXPECT_EQ(err, 281);
    ASSERT_EQ(tls_chunk(650, 2, std::string(300, 'b'), &err), 1);
    EXPECT_EQ(tls_chunk(650, 4, "d", &err), 0) << "a 650-character certificate has 3 chunks";
    ASSERT_EQ(tls_chunk(650, 3, std::string(50, 'c'), &err), 1);
    GpsTlsCfg c = tls_read();
    EXPECT_EQ(c.tls_len, 650u);
    EXPECT_EQ(c.index, 3u);
    EXPECT_EQ(c.length, 650);
    EXPECT_EQ(std::string(c.data, 650),
              std::string(300, 'a') + std::string(300, 'b') + std::string(50, 'c'));

    // Chunk 1 starts a new certificate; tls_len 0 removes it.
    ASSERT_EQ(tls_chunk(20, 1, std::string(20, 'z'), &err), 1);
    c = tls_read();
    EXPECT_EQ(c.index, 1u);
    EXPECT_EQ(c.length, 20);
    EXPECT_EQ(c.data[20], '\0');
    ASSERT_EQ(tls_chunk(0, 0, "", &err), 1);
    EXPECT_EQ(tls_read().index, 0u);
}

int32_t xml(int32_t total, int32_t index, const std::string& bytes, int32_t* err) {
    GpsXmlDataChunk c{};
    c.total = total;
    c.index = index;
    memcpy(c.data, bytes.data(), bytes.size());
    return gpsclient_xmldata(GPS_OP_SET, &c, err);
}

int32_t lto(int32_t total, int32_t index, int32_t length, int32_t* err) {
    GpsLtoDataChunk c{};
    c.total = total;
    c.index = index;
    c.length = length;
    return gpsclient_LTOdata(GPS_OP_SET, &c, err);
}

TEST_F(SimAgnss, UploadsApplyWhenTheirLastChunkArrives) {
    int32_t err = 0;
    ASSERT_EQ(xml(2, 1, std::string(384, '<'), &err), 1);
    EXPECT_EQ(sim_gnss_agnss_status().xml_uploads, 0u);
    ASSERT_EQ(xml(2, 2, "</a>", &err), 1);
    SimAgnssStatus st = sim_gnss_agnss_status();
    EXPECT_EQ(st.xml_uploads, 1u);
    EXPECT_EQ(st.xml_applied, 388u);

    const struct {
        int32_t total, index;
    } refused[] = {{2, 2}, {0, 0}, {2, 3}, {-1, 1}};
    for (const auto& r : refused) {
        err = 0;
        EXPECT_EQ(xml(r.total, r.index, "x", &err), 0) << r.total << "/" << r.index;
        EXPECT_EQ(err, 281);
    }
    // A changed total drops the upload in progress.
    ASSERT_EQ(lto(3, 1, 256, &err), 1);
    EXPECT_EQ(lto(4, 2, 256, &err), 0);
    EXPECT_EQ(lto(3, 2, 256, &err), 0);
    ASSERT_EQ(lto(1, 1, 2, &err), 1);
    st = sim_gnss_agnss_status();
    EXPECT_EQ(st.lto_uploads, 1u);
    EXPECT_EQ(st.lto_applied, 2u);
    EXPECT_EQ(lto(1, 1, 257, &err), 0);
}

TEST_F(SimAgnss, LocksGateLtoAndReferenceTime) {
    int32_t err = 0;
    int32_t v = 1;
    ASSERT_EQ(gpsclient_ltofeature(GPS_OP_SET, &v, &err), 1);
    ASSERT_EQ(gpsclient_injRefTimeFeature(GPS_OP_SET, &v, &err), 1);
    v = 0;
    ASSERT_EQ(gpsclient_ltofeature(GPS_OP_GET, &v, &err), 1);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(lto(1, 1, 2, &err), 0);
    GpsRefTimeInfo t{};
    t.time = 1000;
    EXPECT_EQ(gpsclient_injRefTime(GPS_OP_SET, &t, &err), 0);
    v = 2;
    EXPECT_EQ(gpsclient_injRefTimeFeature(GPS_OP_SET, &v, &err), 0);

    v = 0;
    gpsclient_ltofeature(GPS_OP_SET, &v, &err);
    gpsclient_injRefTimeFeature(GPS_OP_SET, &v, &err);
    EXPECT_EQ(lto(1, 1, 2, &err), 1);
    ASSERT_EQ(gpsclient_injRefTime(GPS_OP_SET, &t, &err), 1);
    EXPECT_TRUE(sim_gnss_agnss_status().time_injected);
    EXPECT_EQ(sim_gnss_agnss_status().time.time, 1000);
}

TEST_F(SimAgnss, ReferencePositionMustBeOnTheEarth) {
    int32_t err = 0;
    const double cases[][3] = {{-90, 180, 0}, {90.01, 0, 1}, {0, -180.5, 1}, {0, 0, -1}};
    for (const auto& c : cases) {
        GpsRefLocInfo p{c[0], c[1], static_cast<float>(c[2])};
        EXPECT_EQ(gpsclient_injRefPos(GPS_OP_SET, &p, &err), &c == &cases[0] ? 1 : 0) << c[0];
    }
    EXPECT_EQ(sim_gnss_agnss_status().pos.longitude, 180.0);
}

}  // namespace

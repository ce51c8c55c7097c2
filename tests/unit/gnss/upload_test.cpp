// ^GPSCFGDATA and ^LTODATA: the chunk checks in their order, the conversions and the chunk records.
#include <cstring>
#include <string>
#include <vector>

#include "gnss_fixture.h"

namespace {

using namespace gnss_test;

class Upload : public GnssTest {};

struct Chunk {
    std::string total = "2";
    std::string index = "1";
    std::string data;  // as typed, quotes included
    std::string length;
    std::string fifth = "1";
    int count = 5;
};

// A chunk whose length parameter matches its data unless the test says otherwise.
Chunk chunk(const std::string& total, const std::string& index, const std::string& chars) {
    Chunk c;
    c.total = total;
    c.index = index;
    c.data = "\"" + chars + "\"";
    c.length = std::to_string(chars.size());
    return c;
}

Answer send(const char* cmd, const Chunk& c) {
    fake::RequestBytes req(cmd, NL_TYPE_SET);
    const std::string params[] = {c.total, c.index, c.data, c.length, c.fifth, "1"};
    for (int i = 0; i < c.count; ++i) {
        req.text(params[i]);
    }
    return at_call(req, cmd, NL_TYPE_SET);
}

// 512 base64 characters that decode to the bytes 0, 1, 2, ... 383 (mod 256).
std::string base64_of_counting_bytes() {
    static const char* abc = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (int i = 0; i < 384; i += 3) {
        const uint32_t v =
            (uint32_t(i % 256) << 16) | (uint32_t((i + 1) % 256) << 8) | uint32_t((i + 2) % 256);
        for (int s = 18; s >= 0; s -= 6) {
            out += abc[(v >> s) & 63];
        }
    }
    return out;
}

TEST_F(Upload, FullConfigurationChunkReachesTheClientDecoded) {
    const Answer a = send("^GPSCFGDATA", chunk("2", "1", base64_of_counting_bytes()));
    EXPECT_EQ(a.ret, 0);
    EXPECT_EQ(a.text(), "\r\nOK\r\n");
    const fake::GpsCall* c = G().last("gpsclient_xmldata");
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->op, 1);
    ASSERT_EQ(c->text.size(), 524u);
    GpsXmlDataChunk rec;
    std::memcpy(&rec, c->text.data(), sizeof rec);
    EXPECT_EQ(rec.total, 2);
    EXPECT_EQ(rec.index, 1);
    for (int i = 0; i < 384; ++i) {
        ASSERT_EQ(rec.data[i], i % 256) << i;
    }
    EXPECT_EQ(c->text.substr(8 + 384), std::string(524 - 8 - 384, '\0')) << "zero after the data";
}

TEST_F(Upload, LastLtoChunkCarriesItsConvertedLength) {
    const Answer a = send("^LTODATA", chunk("3", "3", "0aFf"));
    EXPECT_EQ(a.text(), "\r\nOK\r\n");
    const fake::GpsCall* c = G().last("gpsclient_LTOdata");
    ASSERT_NE(c, nullptr);
    ASSERT_EQ(c->text.size(), 528u);
    GpsLtoDataChunk rec;
    std::memcpy(&rec, c->text.data(), sizeof rec);
    EXPECT_EQ(rec.total, 3);
    EXPECT_EQ(rec.index, 3);
    EXPECT_EQ(rec.length, 2);
    EXPECT_EQ(rec.data[0], 0x0A);
    EXPECT_EQ(rec.data[1], 0xFF);
    EXPECT_EQ(c->text.substr(10, 514), std::string(514, '\0'));

    // 512 hexadecimal characters fill 256 bytes.
    G().reset();
    EXPECT_EQ(send("^LTODATA", chunk("320", "1", std::string(512, 'e'))).text(), "\r\nOK\r\n");
    std::memcpy(&rec, G().last("gpsclient_LTOdata")->text.data(), sizeof rec);
    EXPECT_EQ(rec.length, 256);
    EXPECT_EQ(rec.data[255], 0xEE);
    EXPECT_EQ(rec.data[256], 0);
}

TEST_F(Upload, Refusals) {
    const std::string full(512, 'A');  // valid base64 and valid hex
    const auto with = [&](Chunk c, auto change) {
        change(c);
        return c;
    };
    const Chunk good = chunk("2", "1", full);
    const struct {
        const char* what;
        const char* cmd;
        Chunk c;
        int32_t retenum;
    } cases[] = {
        {"four parameters", "^GPSCFGDATA", with(good, [](Chunk& c) { c.count = 4; }), 96},
        {"total not a number", "^GPSCFGDATA", with(good, [](Chunk& c) { c.total = "2x"; }), 92},
        {"total 161", "^GPSCFGDATA", with(good, [](Chunk& c) { c.total = "161"; }), 92},
        {"total 321", "^LTODATA", with(good, [](Chunk& c) { c.total = "321"; }), 92},
        {"index above total", "^GPSCFGDATA", with(good, [](Chunk& c) { c.index = "3"; }), 92},
        {"length one short", "^GPSCFGDATA", with(good, [](Chunk& c) { c.length = "511"; }), 92},
        {"fifth not a number", "^LTODATA", with(good, [](Chunk& c) { c.fifth = "one"; }), 92},
        {"short chunk not last", "^GPSCFGDATA", chunk("2", "1", std::string(508, 'A')), 92},
        {"long last chunk", "^GPSCFGDATA", chunk("2", "2", std::string(516, 'A')), 92},
        {"no quotes", "^LTODATA", with(good, [&](Chunk& c) { c.data = "00" + full; }), 92},
        {"not base64", "^GPSCFGDATA", chunk("2", "2", "AB*D"), 92},
        {"empty base64", "^GPSCFGDATA", chunk("1", "1", ""), 92},
        {"not hex", "^LTODATA", chunk("2", "2", "0g"), 92},
    };
    for (const auto& r : cases) {
        SCOPED_TRACE(std::string(r.cmd) + ": " + r.what);
        G().reset();
        EXPECT_TRUE(failed_with(send(r.cmd, r.c), -1, r.retenum));
        EXPECT_TRUE(G().calls.empty());
    }
}

TEST_F(Upload, BoundsThatPass) {
    const std::string full(512, 'A');
    const std::pair<const char*, Chunk> cases[] = {
        {"^GPSCFGDATA", chunk("160", "160", "QUJD")},
        {"^LTODATA", chunk("320", "320", "00")},
        // The last chunk may be shorter: 508 characters as index 2 of 2.
        {"^GPSCFGDATA", chunk("2", "2", std::string(508, 'A'))},
        // No lower bound: zero and negative numbers reach the client.
        {"^GPSCFGDATA", chunk("0", "0", "QUJD")},
        {"^LTODATA", chunk("-5", "-7", full)},
    };
    for (const auto& [cmd, c] : cases) {
        SCOPED_TRACE(std::string(cmd) + " " + c.total + "/" + c.index);
        G().reset();
        EXPECT_EQ(send(cmd, c).text(), "\r\nOK\r\n");
        ASSERT_EQ(G().calls.size(), 1u);
        int32_t head[2];
        std::memcpy(head, G().calls[0].text.data(), sizeof head);
        EXPECT_EQ(head[0], std::stoi(c.total));
        EXPECT_EQ(head[1], std::stoi(c.index));
    }
}

}  // namespace

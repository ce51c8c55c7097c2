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

}  // namespace

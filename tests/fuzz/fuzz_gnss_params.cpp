// Any parameters for the chunk-upload, injection, TLS and server-address handlers and the
// control-event injections.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "at_record.h"
#include "fuzz_support.h"
#include "gps_adapter/gps_at_handlers.h"

namespace {

// Input: byte 0 picks the entry point, byte 1 the parameter count the
// request claims (may exceed what follows, up to 20); the rest are
// parameters separated by '\n', each led by one byte added (signed) to its
// length to make its usParaLen, so lengths that lie are explored too. A
// parameter's leading digits also give its numeric value (ulParaValue).
struct Param {
    std::string text;
    int32_t para_len;
};

std::vector<Param> split(const uint8_t* p, size_t n) {
    std::vector<Param> out;
    size_t start = 0;
    for (size_t i = 0; i <= n; ++i) {
        if (i == n || p[i] == '\n') {
            if (i > start) {
                const auto adj = static_cast<int8_t>(p[start]);
                std::string t(reinterpret_cast<const char*>(p + start + 1), i - start - 1);
                out.push_back({t, std::max<int32_t>(0, static_cast<int32_t>(t.size()) + adj)});
            } else {
                out.push_back({"", 0});
            }
            start = i + 1;
        }
    }
    return out;
}

void check_records() {
    for (const fake::GpsCall& c : fake::gps().calls) {
        fuzz::require(c.fn != "gpsclient_WPURL" || (c.length >= 0 && c.length <= 128));
        if (c.fn == "gpsclient_TLSCFG") {
            GpsTlsCfg t;
            std::memcpy(&t, c.text.data(), sizeof t);
            fuzz::require(t.length <= 300);
        }
        if (c.fn == "gpsclient_xmldata") {
            GpsXmlDataChunk x;
            std::memcpy(&x, c.text.data(), sizeof x);
            // At most 384 decoded bytes; the rest of the field stays zero.
            fuzz::require(
                std::all_of(x.data + 384, x.data + sizeof x.data, [](auto b) { return b == 0; }));
        } else if (c.fn == "gpsclient_LTOdata") {
            GpsLtoDataChunk l;
            std::memcpy(&l, c.text.data(), sizeof l);
            fuzz::require(l.length >= 0 && l.length <= 256);
            fuzz::require(std::all_of(l.data + l.length, l.data + sizeof l.data,
                                      [](auto b) { return b == 0; }));
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    fuzz::reset();
    const std::vector<Param> params = split(data + 2, size - 2);
    const uint8_t which = data[0] % 8;

    if (which == 4 || which == 5) {
        // Each text exactly as long as it is, so a read past it is caught.
        std::vector<std::unique_ptr<char[]>> texts;
        for (size_t i = 0; i < 3; ++i) {
            const std::string t = i < params.size() ? params[i].text : "";
            texts.emplace_back(new char[t.size() + 1]);
            std::memcpy(texts.back().get(), t.c_str(), t.size() + 1);
        }
        const int32_t r =
            which == 4 ? AT_GPS_InjRefTime_ioctl(texts[0].get(), texts[1].get())
                       : AT_GPS_InjRefLocInfo_ioctl(texts[0].get(), texts[1].get(), texts[2].get());
        fuzz::require(r == 0 || fake::gps().calls.empty());
        return 0;
    }

    auto req = std::make_unique<AtRequest>();
    std::memset(req.get(), 0, sizeof *req);
    req->m_type = NL_TYPE_SET;
    req->m_para_count = data[1] % 21u;
    for (size_t i = 0; i < params.size() && i < AT_MAX_PARAS; ++i) {
        AtCmdParam& p = req->m_para_list[i];
        // Texts of 561 characters fill the field without a NUL.
        std::memcpy(p.aucPara, params[i].text.data(),
                    std::min(params[i].text.size(), sizeof p.aucPara));
        p.usParaLen = static_cast<uint16_t>(std::min<int32_t>(params[i].para_len, 65535));
        p.ulParaValue = static_cast<uint32_t>(std::strtoul(params[i].text.c_str(), nullptr, 10));
    }
    auto rsp = std::make_unique<AtResponse>();
    std::memset(rsp.get(), 0, sizeof *rsp);
    const AtHandler handlers[] = {
        AT_GPS_SetXmlData, AT_GPS_SetLtoData, AT_GPS_InjRefTime, AT_GPS_InjRefLocInfo,
        nullptr,           nullptr,           AT_GPS_SetTlsCert, AT_GPS_SetServerAddr};
    const int32_t r = handlers[which](req.get(), rsp.get());
    fuzz::require(r == 0 || r == -1);
    // A refusal or a failed call answers without text; success answers OK.
    fuzz::require(rsp->m_retenum != 0 ? rsp->m_length == 0 : (rsp->m_length == 6 && r == 0));
    fuzz::require(r == 0 || fake::gps().calls.empty());
    check_records();
    fuzz::require(fake::platform().live_allocs == 0);
    return 0;
}

// ^FWLOAD: refusals by module type, port, parameter and partition state; silence after a start.
#include <gtest/gtest.h>

#include <cstring>

#include "fake_platform.h"
#include "fake_xmodem.h"
#include "request_builder.h"
#include "tandrel_core.h"
#include "tandrel_xmodemupg/xmodem_at_handlers.h"

namespace {

using fake::RequestBytes;

class FwLoad : public fake::PlatformTest {
protected:
    void SetUp() override {
        fake::PlatformTest::SetUp();
        fake::xmodem().reset();
        g_m2m_type = 0;
    }
    void TearDown() override {
        g_m2m_type = 0;
        fake::PlatformTest::TearDown();
    }
    static RequestBytes fwload(std::vector<std::pair<std::string, int>> paras, uint32_t port = 0) {
        RequestBytes r("^FWLOAD", 0, port);
        for (const auto& [text, len] : paras) {
            r.text(text, len);
        }
        return r;
    }
    struct Result {
        int32_t ret;
        AtResponse rsp;
    };
    static Result call(RequestBytes& r) {
        Result res{};
        AtRequest req;
        std::memcpy(&req, r.data(), sizeof req);
        res.ret = At_StartXmodemUpg(&req, &res.rsp);
        return res;
    }
};

TEST_F(FwLoad, StartAnnouncesWaitsAndHandsOver) {
    for (const char* mode : {"0", "1"}) {
        P().reset();
        fake::xmodem().reset();
        fake::xmodem().start_result = 7;
        RequestBytes r = fwload({{mode, -1}}, 53);
        const Result res = call(r);
        EXPECT_EQ(res.ret, 7);
        EXPECT_EQ(fake::xmodem().start_calls, 1);
        EXPECT_EQ(fake::xmodem().start_para, mode);
        EXPECT_EQ(P().calls, std::vector<std::string>{"QSP_UTIL_UpdateDynAppStatus:xmodemupg:1"});
        EXPECT_EQ(P().sleeps, std::vector<uint32_t>{500});
    }
}

TEST_F(FwLoad, NullArguments) {
    AtResponse rsp{};
    EXPECT_EQ(At_StartXmodemUpg(nullptr, &rsp), -1);
    EXPECT_EQ(fake::xmodem().bbou_calls, 0);
}

}  // namespace

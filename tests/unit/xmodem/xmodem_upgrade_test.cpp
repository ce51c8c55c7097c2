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

TEST_F(FwLoad, Refusals) {
    const struct {
        const char* what;
        int32_t m2m_type;
        uint32_t port;
        std::vector<std::pair<std::string, int>> paras;
        int32_t bbou;
        bool checked_partition;
    } cases[] = {
        {"module type 1", 1, 0, {{"0", -1}}, 1, false},
        {"value 2", 0, 0, {{"2", -1}}, 1, false},
        {"text of length 2", 0, 0, {{"01", -1}}, 1, false},
        {"length says 2 for one character", 0, 0, {{"1", 2}}, 1, false},
        {"two parameters", 0, 0, {{"1", -1}, {"1", -1}}, 1, false},
        {"no parameter", 0, 0, {}, 1, false},
        {"port 49", 0, 49, {{"1", -1}}, 1, false},
        {"port 52", 3, 52, {{"0", -1}}, 1, false},
        {"partition not ready", 0, 0, {{"1", -1}}, 0, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        P().reset();
        fake::xmodem().reset();
        fake::xmodem().bbou_state = c.bbou;
        g_m2m_type = c.m2m_type;
        RequestBytes r = fwload(c.paras, c.port);
        const Result res = call(r);
        EXPECT_EQ(res.ret, -1);
        EXPECT_EQ(res.rsp.m_retenum, 10);
        EXPECT_EQ(res.rsp.m_length, 0u);
        EXPECT_EQ(fake::xmodem().start_calls, 0);
        EXPECT_EQ(fake::xmodem().bbou_calls, c.checked_partition ? 1 : 0);
        EXPECT_TRUE(P().sleeps.empty());
    }
}

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

TEST_F(FwLoad, AnsweredOrSilentByModuleType) {
    const struct {
        int32_t m2m_type;
        int32_t start_retenum;
        bool answered;
    } cases[] = {
        {2, 0, false}, {4, 0, true}, {0, 10, true}, {1, 0, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("module type " + std::to_string(c.m2m_type) + ", start result " +
                     std::to_string(c.start_retenum));
        P().reset();
        fake::xmodem().reset();
        fake::xmodem().start_retenum = c.start_retenum;
        fake::xmodem().start_text = c.start_retenum == 0 ? "\r\nOK\r\n" : "";
        g_m2m_type = c.m2m_type;
        RequestBytes r = fwload({{"1", -1}});
        r.magic(0xF00D);
        nl_syswatch_event_report(r.size(), r.data());
        if (!c.answered) {
            EXPECT_TRUE(P().sent.empty());
            continue;
        }
        ASSERT_EQ(P().sent.size(), 1u);
        const AtResponse rsp = P().last_sent().record();
        EXPECT_EQ(rsp.m_magic, 0xF00Du);
        const int32_t want = c.m2m_type == 1 ? 10 : c.start_retenum;
        EXPECT_EQ(rsp.m_retenum, want);
        EXPECT_EQ(P().last_sent().text(), want == 0 ? "\r\nOK\r\n" : "");
    }
    // A refusal is answered on module type 0 too.
    P().reset();
    g_m2m_type = 0;
    RequestBytes bad = fwload({{"2", -1}});
    nl_syswatch_event_report(bad.size(), bad.data());
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().last_sent().record().m_retenum, 10);
    EXPECT_EQ(P().last_sent().size, 25u);
}

TEST_F(FwLoad, NullArguments) {
    AtResponse rsp{};
    EXPECT_EQ(At_StartXmodemUpg(nullptr, &rsp), -1);
    EXPECT_EQ(fake::xmodem().bbou_calls, 0);
}

}  // namespace

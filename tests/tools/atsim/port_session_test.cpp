// One port's context: what no transcript reaches (nothing registered, held reports bounded, time-outs).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "port_session.h"

namespace {

using namespace std::chrono_literals;
using atsim::Answer;
using atsim::CommandRow;

CommandRow row(const char* name, const char* tmpl, std::array<bool, 4> h,
               std::array<uint32_t, 4> to, uint32_t err) {
    CommandRow r;
    r.name = name;
    r.handler = h;
    r.timeout_ms = to;
    r.err_code = err;
    if (tmpl != nullptr) {
        r.params_text = tmpl;
        r.params = atsim::parse_template(tmpl, nullptr);
    }
    return r;
}

struct FakeHost : atsim::SessionHost {
    FakeHost() {
        reg.rows = {
            row("^WPDGL", "(0-3)", {true, true, true, false}, {30000, 30000, 30000, 0}, 92),
            row("^IPOPEN", nullptr, {true, true, true, true}, {100000000, 30000, 30000, 20000}, 10),
            row("^NAVENABLE", "(0-255)", {true, false, true, false}, {30000, 0, 30000, 0}, 92),
        };
    }
    const atsim::Registration* registration() const override { return registered ? &reg : nullptr; }
    uint32_t send_request(AtRequest& req) override {
        if (fail_send) {
            return 0;
        }
        req.m_magic = next++;
        sent.push_back(req);
        return req.m_magic;
    }
    void write(std::string_view b) override { out.append(b); }
    void line_done() override { ++done; }
    void log(const std::string& m) override { logs.push_back(m); }

    atsim::Registration reg;
    bool registered = true;
    bool fail_send = false;
    uint32_t next = 100;
    std::vector<AtRequest> sent;
    std::string out;
    int done = 0;
    std::vector<std::string> logs;
};

Answer answer(uint32_t magic, std::string text, int32_t ret = 0, uint32_t port = 0,
              uint32_t id = 0) {
    Answer a;
    a.magic = magic;
    a.uindex = port;
    a.id = id;
    a.retenum = ret;
    a.text = std::move(text);
    a.length = static_cast<uint32_t>(a.text.size());
    return a;
}

class Session : public ::testing::Test {
protected:
    Session() {
        cfg.echo = false;
        cfg.timeout_scale = 0.001;  // 30000 ms -> 30 ms
        cfg.handover_wait = 50ms;
    }
    atsim::PortSession& s() {
        if (!session) {
            session = std::make_unique<atsim::PortSession>(0, host, cfg);
        }
        return *session;
    }
    void type(const std::string& bytes) { s().on_input(bytes, t0); }
    std::string take() {
        std::string o;
        o.swap(host.out);
        return o;
    }

    FakeHost host;
    atsim::SessionConfig cfg;
    std::unique_ptr<atsim::PortSession> session;
    const atsim::TimePoint t0 = atsim::TimePoint{} + 1h;
};

TEST_F(Session, NothingRegisteredOrNothingSentIsAnError) {
    host.registered = false;
    type("AT^WPDGL?\r");
    EXPECT_EQ(take(), "\r\nERROR\r\n");
    host.registered = true;
    host.fail_send = true;
    type("AT^WPDGL?\r");
    EXPECT_EQ(take(), "\r\nERROR\r\n");
    EXPECT_FALSE(s().busy());
    type("AT\r");
    EXPECT_EQ(take(), "\r\nOK\r\n");
}

TEST_F(Session, HeldReportsAreBounded) {
    cfg.max_held_bytes = 10;
    type("AT^WPDGL?\r");
    s().on_report(answer(0, "123456"));
    s().on_report(answer(0, "789012"));  // would pass the bound: dropped and logged
    s().on_report(answer(0, "3456"));
    ASSERT_TRUE(s().on_answer(answer(100, "A")));
    EXPECT_EQ(take(), "A1234563456");
    EXPECT_EQ(host.logs.size(), 1u);
}

TEST_F(Session, TimeOutAnswersTheModuleErrorAndTheLateAnswerIsIgnored) {
    type("AT^WPDGL?\r");
    ASSERT_EQ(s().deadline(), t0 + 30ms);
    s().on_tick(t0 + 29ms);
    EXPECT_TRUE(s().busy());
    s().on_tick(t0 + 30ms);
    EXPECT_EQ(take(), "\r\n+CME ERROR: 92\r\n");
    EXPECT_EQ(host.done, 1);
    EXPECT_FALSE(s().on_answer(answer(100, "\r\nOK\r\n")));
    EXPECT_EQ(take(), "");
    // An operation whose table time-out is 0 gets the default.
    type("AT^NAVENABLE?\r");
    EXPECT_EQ(s().deadline(), t0 + 30ms);
}

}  // namespace

// IP stack command relay: the service each handler calls, the settling of
// m_length and m_retenum, abort, and the wire size through the dispatcher.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "at_cmd_table.h"
#include "fake_platform.h"
#include "ipstackatapi/ipstack_at_handlers.h"
#include "request_builder.h"
#include "tandrel_core.h"

namespace {

using fake::ipstack;
using fake::RequestBytes;

class Relay : public fake::PlatformTest {
  protected:
    void serve(int32_t result, int32_t retenum, const std::string& reply,
               std::optional<uint32_t> length) {
        P().reset();
        ipstack().reset();
        ipstack().result = result;
        ipstack().retenum = retenum;
        ipstack().reply = reply;
        ipstack().length = length;
        rsp = AtResponse{};
    }
    AtRequest req{};
    AtResponse rsp{};
};

TEST_F(Relay, AbortOutcomes) {
    struct AbortCase {
        int32_t service, ret, retenum;
    };
    for (const AbortCase a : {AbortCase{0, -1, 0}, AbortCase{1, 0, 98}, AbortCase{-1, 0, 98}}) {
        SCOPED_TRACE(a.service);
        ipstack().reset();
        ipstack().abort_result = a.service;
        rsp = AtResponse{};
        EXPECT_EQ(at_ipstack_abort(&req, &rsp), a.ret);
        EXPECT_EQ(ipstack().calls, std::vector<std::string>{"ipstack_at_abort_at_cmd"});
        EXPECT_EQ(rsp.m_retenum, a.retenum);
        EXPECT_EQ(rsp.m_length, 0u);
    }
    ipstack().reset();
    EXPECT_EQ(at_ipstack_abort(nullptr, &rsp), -1);
    EXPECT_TRUE(ipstack().calls.empty());
    // Commands without an abort handler answer 20 without the service.
    P().reset();
    RequestBytes plain("^IPLISTEN", NL_TYPE_ABORT);
    nl_syswatch_event_report(plain.size(), plain.data());
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().sent[0].record().m_retenum, 20);
    EXPECT_TRUE(ipstack().calls.empty());
}

}  // namespace

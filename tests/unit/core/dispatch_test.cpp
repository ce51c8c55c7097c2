// The dispatcher on malformed requests, and unsolicited reports longer than their text field.
#include <gtest/gtest.h>

#include <cstring>

#include "at_cmd_table.h"
#include "fake_platform.h"
#include "request_builder.h"
#include "tandrel_core.h"

namespace {

using fake::RequestBytes;

class Dispatch : public fake::PlatformTest {
  protected:
    int32_t run(RequestBytes& r) { return nl_syswatch_event_report(r.size(), r.data()); }
};

// Every handler of the table checks its pointers first: a null request or
// response is refused with -1, and nothing is sent or called.
TEST_F(Dispatch, EveryHandlerRefusesNullArguments) {
    for (const AtCmdEntry* e = g_at_cmd_table; e->m_name_len != 0; ++e) {
        for (AtHandler h : {e->m_set_func, e->m_query_func, e->m_test_func, e->m_abort_func}) {
            if (h == nullptr) {
                continue;
            }
            SCOPED_TRACE(e->m_name);
            AtRequest req{};
            AtResponse rsp{};
            EXPECT_EQ(h(nullptr, &rsp), -1);
            EXPECT_EQ(h(&req, nullptr), -1);
        }
    }
    EXPECT_TRUE(P().sent.empty());
}

TEST_F(Dispatch, ParameterCountBeyondTheRecordIsRefused) {
    for (uint32_t count : {18u, 0xFFFFFFFFu}) {
        P().reset();
        RequestBytes r("^WPQOS", 1);
        r.count(count);
        EXPECT_EQ(run(r), 0);
        ASSERT_EQ(P().sent.size(), 1u);
        EXPECT_EQ(P().last_sent().record().m_retenum, 20) << count;
    }
    // 17 entries still fit and reach the handler.
    P().reset();
    RequestBytes r("^WPQOS", 1);
    r.count(17);
    run(r);
    EXPECT_EQ(P().last_sent().record().m_retenum, 20);
    EXPECT_FALSE(P().traced("nl_syswatch_event_report ptransfer.m_type \r\n"));
}

TEST_F(Dispatch, UnterminatedFieldsAreNeverReadPast) {
    // A name that fills its field, followed by a count, and parameter texts
    // that fill theirs: no match, and the dump stays inside each field.
    RequestBytes r(std::string(67, 'W'), 1);
    r.text(std::string(561, 'x'), 561).text(std::string(561, 'y'), 0xFFFF);
    EXPECT_EQ(run(r), 0);
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().last_sent().record().m_retenum, 0);
    for (const fake::Trace& t : P().traces) {
        EXPECT_EQ(t.text.find("xy"), std::string::npos);
        EXPECT_EQ(t.text.find("x\x01"), std::string::npos);
    }
}

class Unsolicited : public fake::PlatformTest {};

// The caller's record is left as it was handed over; what is sent is a
// copy whose length fits the text field.
TEST_F(Unsolicited, LengthPastTheTextFieldIsCutOnACopy) {
    AtResponse rsp{};
    std::memset(rsp.m_buffer, 'A', sizeof rsp.m_buffer);
    rsp.m_length = 20000;
    EXPECT_EQ(tandrel_notify_handler(58000, reinterpret_cast<uintptr_t>(&rsp), 0), 0);
    EXPECT_EQ(rsp.m_length, 20000u);
    EXPECT_EQ(rsp.m_buffer[sizeof rsp.m_buffer - 1], 'A');
    const AtResponse sent = P().last_sent().record();
    EXPECT_EQ(P().last_sent().size, sizeof(AtResponse));
    EXPECT_EQ(sent.m_length, sizeof rsp.m_buffer - 1);
    EXPECT_EQ(sent.m_buffer[sizeof rsp.m_buffer - 1], '\0');
}

}  // namespace

// The dispatcher's outcomes: lookup, missing handlers, refusals, silent commands, bad input.
#include <gtest/gtest.h>

#include <cstring>

#include "fake_platform.h"
#include "request_builder.h"
#include "tandrel_core.h"

namespace {

using fake::RequestBytes;

class Dispatch : public fake::PlatformTest {
  protected:
    int32_t run(RequestBytes& r) { return nl_syswatch_event_report(r.size(), r.data()); }
};

struct Outcome {
    const char* what;
    const char* cmd;
    uint32_t type;
    uint32_t port;
    int32_t retenum;
};

TEST_F(Dispatch, AnswersWithTheRowsOutcome) {
    const Outcome cases[] = {
        {"null query handler", "^NAVENABLE", 1, 0, 20},
        {"abort without handler", "^WPDOM", 3, 0, 20},
        {"type far above 3", "^WPQOS", 0xFFFFFFFF, 0, 20},
        {"port 5 for an unknown command", "^NOSUCH", 0, 5, 10},
        {"unknown command: zero response", "^NOSUCH", 0, 0, 0},
        {"test-abort query finds no row", "^TESTABORT", 1, 0, 0},
    };
    for (const Outcome& c : cases) {
        SCOPED_TRACE(c.what);
        P().reset();
        RequestBytes r(c.cmd, c.type, c.port);
        r.magic(0xCAFEF00D);
        EXPECT_EQ(run(r), 0);
        ASSERT_EQ(P().sent.size(), 1u);
        const fake::Sent& s = P().last_sent();
        const AtResponse rsp = s.record();
        EXPECT_EQ(s.size, 25u);
        EXPECT_EQ(rsp.m_retenum, c.retenum);
        EXPECT_EQ(rsp.m_length, 0u);
        EXPECT_EQ(rsp.m_buffer[0], '\0');
        EXPECT_EQ(rsp.m_uindex, c.port);
        EXPECT_EQ(rsp.m_magic, 0xCAFEF00Du);
    }
}

TEST_F(Dispatch, SilentRulesCompareNamesExactly) {
    // The silent rules compare case-sensitively; the table lookup does not.
    RequestBytes r("^nlgpsopt", 1);
    run(r);
    EXPECT_EQ(P().sent.size(), 1u);
}

TEST_F(Dispatch, AllocationFailureDropsTheRequest) {
    for (uint64_t nth : {1u, 2u}) {
        P().reset();
        P().fail_alloc_at = nth;
        RequestBytes r("^WPQOS", 1);
        EXPECT_EQ(run(r), -1) << "allocation " << nth;
        EXPECT_TRUE(P().sent.empty());
        EXPECT_EQ(P().live_allocs, 0);
    }
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

TEST_F(Dispatch, RequestLengthsAreBounded) {
    // Shorter than the record: the rest reads as zeros. Longer than the
    // buffer: the copy stops at 10240 bytes.
    std::vector<uint8_t> big(30000, 0xAB);
    RequestBytes head("^WPQOS", 1);
    std::memcpy(big.data(), head.data(), 84);
    big[80] = 0;
    EXPECT_EQ(nl_syswatch_event_report(static_cast<uint32_t>(big.size()), big.data()), 0);
    EXPECT_EQ(P().last_sent().record().m_retenum, 20);

    RequestBytes shortreq("^WPQOS", 1, 7);
    EXPECT_EQ(nl_syswatch_event_report(13, shortreq.data()), 0);
    const AtResponse rsp = P().last_sent().record();
    EXPECT_EQ(rsp.m_uindex, 7u);
    EXPECT_EQ(rsp.m_retenum, 0);  // the name was not received: no row

    EXPECT_EQ(nl_syswatch_event_report(0, nullptr), 0);
    EXPECT_EQ(P().last_sent().size, 25u);
}

TEST_F(Dispatch, ProcessRefusesNullArguments) {
    AtRequest req{};
    AtResponse rsp{};
    EXPECT_EQ(nl_process_event_report(nullptr, &rsp), -1);
    EXPECT_EQ(nl_process_event_report(&req, nullptr), -1);
}

class Unsolicited : public fake::PlatformTest {};

TEST_F(Unsolicited, ReadyMadeReportsAreSentWithTheirWireSize) {
    AtResponse rsp{};
    rsp.m_uindex = 55;
    rsp.m_id = 58;
    std::strcpy(rsp.m_buffer, "\r\n^POSEND: 1\r\n");
    rsp.m_length = static_cast<uint32_t>(std::strlen(rsp.m_buffer));
    EXPECT_EQ(tandrel_notify_handler(58000, reinterpret_cast<uintptr_t>(&rsp), 0), 0);
    ASSERT_EQ(P().sent.size(), 1u);
    EXPECT_EQ(P().last_sent().size, rsp.m_length + 25);
    EXPECT_EQ(P().last_sent().text(), "\r\n^POSEND: 1\r\n");
    EXPECT_EQ(P().last_sent().record().m_uindex, 55u);

    EXPECT_EQ(tandrel_notify_handler(58001, reinterpret_cast<uintptr_t>(&rsp), 0), -1);
    EXPECT_EQ(tandrel_notify_handler(58000, 0, 0), -1);
    EXPECT_EQ(P().sent.size(), 1u);
}

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

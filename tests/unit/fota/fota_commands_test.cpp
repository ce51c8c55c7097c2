// FOTA commands through the dispatcher: limits, service failures, field bounds, missing records.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "at_cmd_table.h"
#include "fake_online_update.h"
#include "fake_platform.h"
#include "request_builder.h"
#include "tandrel_core.h"

namespace {

using fake::RequestBytes;

constexpr char kOk[] = "\r\nOK\r\n";

class Fota : public fake::PlatformTest {
  protected:
    void SetUp() override {
        PlatformTest::SetUp();
        fake::online_update().reset();
    }
    fake::OnlineUpdate& S() { return fake::online_update(); }

    // Sends AT<cmd>=<paras> (each typed as text) and returns what reached the kernel.
    fake::Sent at(const char* cmd, const std::vector<std::string>& paras, uint32_t type = 0,
                  uint8_t reserved = 0) {
        RequestBytes r(cmd, type);
        r.reserved(reserved);
        for (const std::string& p : paras) {
            r.text(p);
        }
        EXPECT_EQ(nl_syswatch_event_report(r.size(), r.data()), 0);
        EXPECT_EQ(P().sent.size(), 1u);
        fake::Sent s = P().sent.empty() ? fake::Sent{} : P().last_sent();
        P().sent.clear();
        EXPECT_EQ(s.size, s.record().m_length + 25);
        return s;
    }
    // Expects a text answer.
    void expect_text(const fake::Sent& s, const std::string& text) {
        EXPECT_EQ(s.record().m_retenum, 0);
        EXPECT_EQ(s.text(), text);
    }
    // Expects an error number with no text.
    void expect_error(const fake::Sent& s, int32_t retenum) {
        EXPECT_EQ(s.record().m_retenum, retenum);
        EXPECT_EQ(s.record().m_length, 0u);
        EXPECT_EQ(s.size, 25u);
    }
};

using Paras = std::vector<std::string>;

TEST_F(Fota, FailedSetAnswersTheMappedServiceCode) {
    const std::pair<uint32_t, int32_t> codes[] = {{3, 174}, {18, 19}, {19, 20}};
    for (const auto& [code, retenum] : codes) {
        SCOPED_TRACE(code);
        S().result = 0;
        S().err_code = code;
        expect_error(at("^FOTADL", {"2"}), retenum);
        expect_error(at("^FOTACFG", {"", "", "", "0"}), retenum);
        expect_error(at("^FOTAOEMDL", {}), retenum);
    }
}

TEST_F(Fota, ReservedByteRefusesStartsAndProgress) {
    for (const char* cmd : {"^FOTADET", "^FWUP", "^FOTADLQ"}) {
        SCOPED_TRACE(cmd);
        expect_error(at(cmd, {}, 0, 0xFF), 20);
    }
    EXPECT_TRUE(S().calls.empty());
    // Parameters typed with them are ignored.
    expect_text(at("^FOTADET", {"1", "x"}), kOk);
    expect_text(at("^FWUP", {"9"}), kOk);
    EXPECT_EQ(S().calls, (std::vector<std::string>{"online_update_check_new_version",
                                                   "online_update_installer_new_version"}));
}

TEST_F(Fota, QueryAnswersStayInsideServiceFields) {
    // Service texts without their NUL stay inside their fields.
    S().connect = {2, "", "", "secret"};
    S().progress.total_size = 2048;
    S().progress.downloaded_size = 512;
    std::memset(S().connect.apn, 'a', sizeof S().connect.apn);
    std::memset(S().connect.user, 'u', sizeof S().connect.user);
    std::memset(S().progress.package_name, 'n', sizeof S().progress.package_name);
    expect_text(at("^FOTACFG", {}, 1), "\r\n^FOTACFG: \"" + std::string(100, 'a') + "\",\"" +
                                           std::string(64, 'u') + "\",\"secret\",2\r\n\r\nOK\r\n");
    expect_text(at("^FOTADLQ", {}),
                "\r\n^FOTADLQ: 1,\"" + std::string(20, 'n') + "\",512,2048\r\n\r\nOK\r\n");

    S().result = 0;
    for (const char* cmd : {"^FOTAMODE", "^FOTACFG", "^FOTASTATE", "^FOTAP", "^FOTASMSCFG"}) {
        expect_error(at(cmd, {}, 1), 20);
    }
    expect_error(at("^FOTADLQ", {}), 20);
}

TEST_F(Fota, MissingRecordLeavesTheResponseEmpty) {
    const std::tuple<const char*, uint32_t, std::vector<std::string>> cases[] = {
        {"^FOTAMODE", 0, {"0", "0", "0", "0"}},
        {"^FOTACFG", 1, {}},
        {"^FOTADLQ", 0, {}},
    };
    for (const auto& [cmd, type, paras] : cases) {
        SCOPED_TRACE(cmd);
        P().reset();
        P().fail_alloc_at = 3;
        const fake::Sent s = at(cmd, paras, type);
        EXPECT_EQ(s.record().m_retenum, 0);
        EXPECT_EQ(s.size, 25u);
        EXPECT_TRUE(P().traced("nl_process_event_report return TANDREL_FAIL\r\n"));
    }
    EXPECT_TRUE(S().calls.empty());
}

TEST_F(Fota, EveryHandlerRefusesNullPointers) {
    AtRequest req{};
    AtResponse rsp{};
    for (const AtCmdEntry* e = g_at_cmd_table; e->m_name_len != 0; ++e) {
        const std::string name = e->m_name;
        if (name.rfind("^FOTA", 0) != 0 && name != "^FWUP") {
            continue;
        }
        for (uint32_t op = 0; op < 4; ++op) {
            if (const AtHandler h = at_cmd_handler(*e, op)) {
                EXPECT_EQ(h(nullptr, &rsp), -1) << name << " " << op;
                EXPECT_EQ(h(&req, nullptr), -1) << name << " " << op;
            }
        }
    }
    EXPECT_TRUE(S().calls.empty());
}

}  // namespace

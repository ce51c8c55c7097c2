// Navigation receiver test: the carrier table, ^NAVTYPE, ^NAVENABLE, ^NAVFREQ and the ^NAVRX
// measurement with its ^POSEND switch.
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gnss_navigation.h"
#include "gps_adapter/gps_at_handlers.h"
#include "tandrel_adapters.h"

namespace {

using namespace gnss_test;

// Numeric parameters as the driver sends them: each value with its typed
// digits, so that it counts as present.
fake::RequestBytes typed(const char* cmd, uint32_t type, const std::vector<uint32_t>& values) {
    fake::RequestBytes req(cmd, type);
    for (size_t i = 0; i < values.size(); ++i) {
        req.text(std::to_string(values[i]), 0).u32(84 + 568 * i, values[i]);
    }
    return req;
}

Answer set_freq(const std::vector<uint32_t>& values) {
    fake::RequestBytes req = typed("^NAVFREQ", NL_TYPE_SET, values);
    return at_call(req, "^NAVFREQ", NL_TYPE_SET);
}

class Navigation : public GnssTest {
  protected:
    void SetUp() override {
        GnssTest::SetUp();
        gnss_navigation_reset();
    }
    void TearDown() override {
        gnss_navigation_reset();
        GnssTest::TearDown();
    }
    // Type, frequency and enable set through the handlers.
    static void arm(uint32_t type, const std::vector<uint32_t>& freq) {
        ASSERT_EQ(at_set("^NAVTYPE", {type}).text(), "\r\nOK\r\n");
        ASSERT_EQ(set_freq(freq).text(), "\r\nOK\r\n");
        ASSERT_EQ(at_set("^NAVENABLE", {1}).text(), "\r\nOK\r\n");
    }
};

void expect_refused(const Answer& a, int32_t retenum) {
    EXPECT_TRUE(failed_with(a, -1, retenum));
    EXPECT_EQ(a.rsp.m_buffer[0], '\0');
}

TEST(NavFreqTable, GpsCarrierOnlyForGpsAndEachGlonassChannelOnlyForGlonass) {
    EXPECT_TRUE(gnss_nav_freq_valid(1, 1575420000));
    EXPECT_FALSE(gnss_nav_freq_valid(2, 1575420000));
    for (size_t i = 1; i < g_NavFreqTable.size(); ++i) {
        EXPECT_TRUE(gnss_nav_freq_valid(2, g_NavFreqTable[i])) << i;
        EXPECT_FALSE(gnss_nav_freq_valid(2, g_NavFreqTable[i] + 1)) << i;
        EXPECT_FALSE(gnss_nav_freq_valid(1, g_NavFreqTable[i])) << i;
    }
    for (int32_t none : {0, 3}) {
        EXPECT_FALSE(gnss_nav_freq_valid(none, 1575420000)) << none;
    }
}

TEST_F(Navigation, TypeAndEnableSets) {
    const struct {
        const char* cmd;
        uint32_t count;  // parameters sent, each the value
        uint32_t value;
        int32_t ret, retenum;
    } cases[] = {
        {"^NAVTYPE", 1, 2, 0, 0},     {"^NAVTYPE", 1, 0, -1, 92},   {"^NAVTYPE", 0, 1, -1, 20},
        {"^NAVTYPE", 2, 1, -1, 20},   {"^NAVENABLE", 1, 0, 0, 0},   {"^NAVENABLE", 1, 2, -1, 92},
        {"^NAVENABLE", 0, 1, -1, 20}, {"^NAVENABLE", 2, 1, -1, 20},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.cmd) + " " + std::to_string(c.count) + "x" +
                     std::to_string(c.value));
        fake::RequestBytes req(c.cmd, NL_TYPE_SET);
        for (uint32_t i = 0; i < c.count; ++i) {
            req.num(c.value);
        }
        const Answer a = at_call(req, c.cmd, NL_TYPE_SET);
        EXPECT_EQ(a.ret, c.ret);
        EXPECT_EQ(a.rsp.m_retenum, c.retenum);
        EXPECT_EQ(a.text(), c.ret == 0 ? "\r\nOK\r\n" : "");
    }
    EXPECT_TRUE(G().calls.empty());
}

struct FreqCase {
    int32_t type;
    std::vector<uint32_t> values;
    int32_t ret, retenum;
    const char* text;
};

TEST_F(Navigation, FrequencySetAgainstTheChosenType) {
    const char* ok = "\r\nOK\r\n";
    const char* error = "\r\nERROR\r\n";
    const FreqCase cases[] = {
        {1, {1575, 420, 0}, 0, 0, ok},
        {1, {1575}, -1, 0, error},
        {1, {1575, 420, 1}, -1, 0, error},
        {2, {1605, 375}, 0, 0, ok},
        {4, {1575, 420}, -1, 0, error},  // no type chosen
        // Frequencies that equal a carrier only modulo 2^32.
        {1, {5870, 387, 296}, -1, 0, error},
        {2, {5896, 967, 296}, -1, 0, error},
        {1, {65535, 999, 999}, -1, 0, error},
        {1, {65536, 0, 0}, -1, 92, ""},
        {1, {1575, 1000}, -1, 92, ""},
        {1, {1575, 420, 1000}, -1, 92, ""},
        {1, {1575, 420, 0, 0}, -1, 20, ""},
        {1, {}, -1, 92, ""},
    };
    for (const FreqCase& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.values) + " type " + std::to_string(c.type));
        g_NavType = c.type;
        g_NavFreqSet = 0;
        const Answer a = set_freq(c.values);
        EXPECT_EQ(a.ret, c.ret);
        EXPECT_EQ(a.rsp.m_retenum, c.retenum);
        EXPECT_EQ(a.text(), c.text);
        EXPECT_EQ(g_NavFreqSet, c.ret == 0 ? 1 : 0);
    }
}

TEST_F(Navigation, FrequencyParametersMustBePresent) {
    // Parameter i omitted: an all-zero entry.
    const struct {
        uint32_t count;
        int absent;
        int32_t retenum;
    } cases[] = {{1, 0, 92}, {2, 1, 92}, {3, 2, 92}, {1000, -1, 20}};
    g_NavType = 2;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.count) + " absent " + std::to_string(c.absent));
        fake::RequestBytes req = typed("^NAVFREQ", NL_TYPE_SET, {1602, 0, 0});
        if (c.absent >= 0) {
            req.bytes()[88 + 568 * static_cast<size_t>(c.absent)] = '\0';
        }
        req.count(c.count);
        expect_refused(at_call(req, "^NAVFREQ", NL_TYPE_SET), c.retenum);
    }
    EXPECT_EQ(g_NavFreqSet, 0);
}

TEST_F(Navigation, MeasurementRunsOneFixWithoutPosend) {
    arm(2, {1598, 62, 500});
    at_set("^NAVTYPE", {1});  // the stored frequency stays with the new type
    G().on("gpsclient_qry_cn").out = {45};
    std::vector<int32_t> posend_flag;
    G().on_call = [&](const std::string&) {
        posend_flag.push_back(g_posendFlag.load());
        const int32_t status[4] = {0, 0, 7, 1};
        AT_status_cb(const_cast<int32_t*>(status));
    };
    const Answer a = at_query("^NAVRX");
    EXPECT_EQ(a.ret, 0);
    EXPECT_EQ(a.rsp.m_retenum, 0);
    EXPECT_EQ(a.text(), "\r\n^NAVRX:450\r\n\r\nOK\r\n");
    EXPECT_EQ(G().names(), (std::vector<std::string>{"gpsclient_set_type", "gpsclient_startFix",
                                                     "gpsclient_qry_cn", "gpsclient_stopFix"}));
    EXPECT_EQ(G().calls[0].in, (std::vector<int32_t>{1, 1598, 62, 500}));
    EXPECT_TRUE(G().calls[1].err_null);
    EXPECT_TRUE(G().calls[3].err_null);
    EXPECT_EQ(posend_flag, (std::vector<int32_t>{1, 0, 0, 0}));
    EXPECT_EQ(P().sent.size(), 1u) << "only the status report made before the fix";
    EXPECT_EQ(g_posendFlag.load(), 1);
}

// The value must fit 16 bits once multiplied by 10; a failed client call,
// which gives no error word, answers 92. A failed measurement leaves the fix
// running; ^POSEND is back on whatever happens.
TEST_F(Navigation, MeasurementOutcomes) {
    const struct {
        const char* fails;
        int32_t cn;
        int32_t retenum;
        const char* text;
        size_t calls;
    } cases[] = {
        {nullptr, 3276, 0, "\r\n^NAVRX:32760\r\n\r\nOK\r\n", 4},
        {nullptr, -3277, 20, "", 4},
        {nullptr, INT32_MAX, 20, "", 4},
        {"gpsclient_set_type", 45, 92, "", 1},
        {"gpsclient_startFix", 45, 92, "", 2},
        {"gpsclient_qry_cn", 45, 92, "", 3},
        {"gpsclient_stopFix", 45, 92, "", 4},
    };
    arm(1, {1575, 420});
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.fails != nullptr ? c.fails : "") + " " + std::to_string(c.cn));
        G().reset();
        G().on("gpsclient_qry_cn").out = {c.cn};
        if (c.fails != nullptr) {
            G().fail(c.fails, 283);
        }
        const Answer a = at_query("^NAVRX");
        EXPECT_EQ(a.ret, c.retenum == 0 ? 0 : -1);
        EXPECT_EQ(a.rsp.m_retenum, c.retenum);
        EXPECT_EQ(a.text(), c.text);
        EXPECT_EQ(G().calls.size(), c.calls);
        EXPECT_EQ(g_posendFlag.load(), 1);
    }
}

}  // namespace

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

struct FreqCase {
    int32_t type;
    std::vector<uint32_t> values;
    int32_t ret, retenum;
    const char* text;
};

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

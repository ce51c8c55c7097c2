// ^GNSSCNO, ^NAVQUY, ^GNSSPOS, ^WPINFO, ^WPCAP, ^WNICT and ^ZQCUST: texts built from the client's
// records, parameter rules and client failures.
#include <functional>
#include <limits>
#include <vector>

#include "gnss_fixture.h"
#include "gps_adapter/gps_at_handlers.h"

namespace {

using namespace gnss_test;

class InfoCommands : public GnssTest {};

// A request with numeric parameters sent as the driver does: value and digits.
Answer run(const char* cmd, uint32_t type, const std::vector<uint32_t>& values = {}) {
    fake::RequestBytes req(cmd, type);
    for (size_t i = 0; i < values.size(); ++i) {
        req.text(std::to_string(values[i]), 0).u32(84 + 568 * i, values[i]);
    }
    return at_call(req, cmd, type);
}

// Every client call with an error word maps it, leaves no text and returns 0;
// the C/N0 list has no error word and answers 92.
TEST_F(InfoCommands, ClientFailures) {
    const struct {
        const char* cmd;
        uint32_t type;
        std::vector<uint32_t> values;
        const char* fn;
    } cases[] = {
        {"^NAVQUY", 1, {}, "gpsclient_NAVQUY"},       {"^GNSSPOS", 1, {}, "gpsclient_GnssPosition"},
        {"^WPINFO", 1, {}, "gpsclient_WPINFO"},       {"^WPCAP", 1, {}, "gpsclient_WPCAP"},
        {"^WPCAP", 0, {3}, "gpsclient_WPCAP"},        {"^WNICT", 0, {1, 9}, "gpsclient_WNICT"},
        {"^ZQCUST", 1, {}, "gpsclient_ZQCUST"},       {"^ZQCUST", 0, {0, 1}, "gpsclient_ZQCUST"},
        {"^GNSSCNO", 0, {}, "gpsclient_svscno_list"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.cmd) + " " + std::to_string(c.type));
        for (const auto& [err, retenum] : {std::pair{283, 94}, {0, 20}}) {
            G().reset();
            G().fail(c.fn, err);
            const Answer a = run(c.cmd, c.type, c.values);
            const bool no_error_word = c.cmd == std::string("^GNSSCNO");
            EXPECT_TRUE(failed_with(a, no_error_word ? -1 : 0, no_error_word ? 92 : retenum))
                << err;
        }
    }
}

TEST_F(InfoCommands, SetParameterRules) {
    const struct {
        const char* cmd;
        uint32_t count;
        int absent;  // parameter sent empty, -1 none
        int32_t retenum;
    } cases[] = {
        {"^WPCAP", 0, -1, 20},    {"^WPCAP", 2, -1, 96},  {"^WNICT", 0, -1, 20},
        {"^WNICT", 1000, -1, 96}, {"^ZQCUST", 1, -1, 20}, {"^ZQCUST", 3, -1, 96},
        {"^ZQCUST", 2, 0, 92},    {"^ZQCUST", 2, 1, 92},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.cmd) + " " + std::to_string(c.count));
        fake::RequestBytes req(c.cmd);
        for (uint32_t i = 0; i < c.count && i < 17; ++i) {
            req.text(static_cast<int>(i) == c.absent ? "" : "1", 0).u32(84 + 568 * i, 1);
        }
        req.count(c.count);
        EXPECT_TRUE(failed_with(at_call(req, c.cmd, NL_TYPE_SET), -1, c.retenum));
    }
    EXPECT_TRUE(G().calls.empty());
}

}  // namespace

// The command table row by row and its lookup; the registration size is checked at compile time
// and in the registration message.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "at_cmd_table.h"
#include "gps_adapter/gps_at_handlers.h"

namespace {

// Handler kinds per operation (set, query, test, abort): H a command's own
// handler, N the not-supported handler, - none.
struct Row {
    const char* name;
    const char* kinds;
    std::array<uint32_t, 4> timeouts;
    uint32_t err;
    uint32_t flag;
    const char* param;
};

constexpr uint32_t S = 30000, NET = 100000000, SSL = 200000;

const Row kRows[] = {
    {"^WPDOM", "HHH-", {S, S, S, 0}, 92, 3, "(0,1,5)"},
    {"^WPDST", "HHH-", {S, S, S, 0}, 92, 3, "(0-2)"},
    {"^WPDFR", "HHH-", {S, S, S, 0}, 92, 3, "(0-65535),(1-1800)"},
    {"^WPQOS", "NNN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^WPDGL", "HHH-", {S, S, S, 0}, 92, 3, "(0-3)"},
    {"^WPDIM", "HNH-", {S, S, S, 0}, 92, 3, "(0-3)"},
    {"^WPDNM", "HNH-", {S, S, S, 0}, 92, 3, "(0-12)"},
    {"^WPLPM", "HHH-", {S, S, S, 0}, 92, 3, "(0,1)"},
    {"^GPSCFGDATA", "HNN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^LTODATA", "HNN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^SUPLACAP", "HHH-", {S, S, S, 0}, 92, 3, "(0,1)"},
    {"^WPPORT", "HHH-", {S, S, S, 0}, 92, 3, "(0-1)"},
    {"^WPDGP", "HNN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^WPEND", "HNN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^NAVTYPE", "HHH-", {S, S, S, 0}, 92, 3, "(0-255)"},
    {"^NAVENABLE", "H-H-", {S, 0, S, 0}, 92, 3, "(0-255)"},
    {"^NAVRX", "-H--", {0, 60000, 0, 0}, 92, 3, nullptr},
    {"^NAVFREQ", "HHH-", {S, S, S, 0}, 92, 3, "(0-65535),(0-999),(0-999)"},
    {"^NAVQUY", "NHN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^GNSSCNO", "H---", {S, 0, 0, 0}, 92, 3, nullptr},
    {"^GNSSPOS", "NHN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^WPCAP", "HHH-", {S, S, S, 0}, 92, 3, "(0,3)"},
    {"^WPINFO", "NHN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^WNICT", "HNH-", {S, S, S, 0}, 92, 3, "(0-1),(0-65535)"},
    {"^ZQCUST", "HHH-", {S, S, S, 0}, 92, 3, "(0),(0-1)"},
    {"^WPURL", "HHN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^WPTLS", "HHN-", {S, S, S, 0}, 92, 3, "(0-3000),(1-10),(@tlsdata)"},
    {"^AGNSSCFG", "HHH-", {S, S, S, 0}, 92, 3, "(1),(1),(1,2),(0,1)"},
    {"^LTOSTA", "NNN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^SUPLOCK", "HHH-", {S, S, S, 0}, 92, 3, "(0-1)"},
    {"^AGPSTYPECFG", "HHH-", {S, S, S, 0}, 92, 3, "(1,2,3,4)"},
    {"^SUPLMODE", "HHH-", {S, S, S, 0}, 92, 3, "(1,2)"},
    {"^LTOLOCK", "HHH-", {S, S, S, 0}, 92, 3, "(0-1)"},
    {"^INJTIMELOCK", "HHH-", {S, S, S, 0}, 92, 3, "(0-1)"},
    {"^GNSSINJTIME", "HNN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^GNSSINJPOS", "HNN-", {S, S, S, 0}, 92, 3, nullptr},
    {"^NLGPSOPT", "HHH-", {S, S, S, 0}, 92, 3, "(0-1)"},
    {"^FOTAMODE", "HHH-", {S, S, S, 0}, 10, 3, nullptr},
    {"^FOTACFG", "HH--", {S, S, S, 0}, 10, 3, nullptr},
    {"^FOTADET", "H---", {S, S, S, 0}, 10, 0, nullptr},
    {"^FOTADL", "H-H-", {S, S, S, 0}, 10, 0, nullptr},
    {"^FWUP", "H---", {S, S, S, 0}, 10, 3, nullptr},
    {"^FOTASTATE", "-H--", {S, S, S, 0}, 10, 3, nullptr},
    {"^FOTADLQ", "H---", {S, S, S, 0}, 10, 0, nullptr},
    {"^FOTAP", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^FOTASMSCFG", "HHH-", {S, S, S, 0}, 10, 3, nullptr},
    {"^FOTAOEMDL", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^IPINIT", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^IPINITEX", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^HBEACTEX", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^HBECONTEX", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^HBECONTDATA", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^IPCLOSE", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^IPOPEN", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^IPLISTEN", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^IPDNSCFG", "HHH-", {S, S, S, 0}, 10, 0, "(0-1)"},
    {"^IPLISTENEX", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^IPSEND", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^IPSENDEX", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^IPENTRANS", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^IPFLOWQ", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^IPCFL", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^EMSEND", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^HTTPCMD", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^FTPCMD", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^IPRCV", "HHHH", {NET, S, S, S}, 10, 0, nullptr},
    {"^IPOPT", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^SSLEN", "HHH-", {NET, S, S, 0}, 10, 0, nullptr},
    {"^SSLMNG", "HHH-", {NET, S, S, 0}, 10, 0, nullptr},
    {"^SSLCFG", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^SSLSTAT", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^SSLO", "HHHH", {SSL, S, S, S}, 10, 0, nullptr},
    {"^SSLC", "HHH-", {S, S, S, 0}, 10, 0, nullptr},
    {"^SSLTX", "HHHH", {SSL, S, S, S}, 10, 0, nullptr},
    {"^SSLRX", "HHHH", {SSL, S, S, S}, 10, 0, nullptr},
    {"^TTS", "HHH-", {S, S, S, 0}, 194, 3, nullptr},
    {"^TTSCFG", "HHH-", {S, S, S, 0}, 194, 3, nullptr},
    {"^FWLOAD", "H---", {NET, 0, 0, 0}, 10, 3, nullptr},
    {"^AUDREC", "HHH-", {S, S, S, 0}, 196, 3, nullptr},
    {"^RECCFG", "HHH-", {S, S, S, 0}, 196, 3, nullptr},
    {"^FILEIO", "HHH-", {S, S, S, 0}, 196, 3, nullptr},
};
static_assert(std::size(kRows) == AT_CMD_COUNT);

TEST(CommandTable, EveryRowAsRegistered) {
    for (size_t i = 0; i < AT_CMD_COUNT; ++i) {
        const Row& want = kRows[i];
        const AtCmdEntry& e = g_at_cmd_table[i];
        SCOPED_TRACE(want.name);
        EXPECT_STREQ(e.m_name, want.name);
        EXPECT_EQ(e.m_index, 0u);
        EXPECT_EQ(e.m_name_len, strlen(want.name) + 1);
        EXPECT_EQ(e.m_set_timeout, want.timeouts[0]);
        EXPECT_EQ(e.m_query_timeout, want.timeouts[1]);
        EXPECT_EQ(e.m_test_timeout, want.timeouts[2]);
        EXPECT_EQ(e.m_abort_timeout, want.timeouts[3]);
        EXPECT_EQ(e.m_err_code, want.err);
        EXPECT_EQ(e.m_flag, want.flag);
        if (want.param == nullptr) {
            EXPECT_EQ(e.m_param, nullptr);
            EXPECT_EQ(e.m_param_len, 0u);
        } else {
            EXPECT_STREQ(e.m_param, want.param);
            EXPECT_EQ(e.m_param_len, strlen(want.param) + 1);
        }
        for (uint32_t op = 0; op < 4; ++op) {
            const AtHandler h = at_cmd_handler(e, op);
            switch (want.kinds[op]) {
                case 'N':
                    EXPECT_EQ(h, &AT_GPS_NotSupport) << "operation " << op;
                    break;
                case 'H':
                    EXPECT_NE(h, nullptr) << "operation " << op;
                    EXPECT_NE(h, &AT_GPS_NotSupport) << "operation " << op;
                    break;
                default:
                    EXPECT_EQ(h, nullptr) << "operation " << op;
            }
        }
    }
}

TEST(CommandTable, TerminatorEndsTheTable) {
    const AtCmdEntry& t = g_at_cmd_table[AT_CMD_COUNT];
    EXPECT_EQ(t.m_name_len, 0u);
    EXPECT_EQ(t.m_name, nullptr);
    EXPECT_EQ(t.m_err_code, 10u);
    EXPECT_EQ(t.m_flag, 3u);
    EXPECT_EQ(t.m_set_func, nullptr);
    EXPECT_EQ(t.m_set_timeout, 0u);
}

TEST(CommandTable, LookupIgnoresCaseAndFindsEveryRowOnly) {
    for (size_t i = 0; i < AT_CMD_COUNT; ++i) {
        std::string lower = g_at_cmd_table[i].m_name;
        for (char& c : lower) {
            c = static_cast<char>(tolower(c));
        }
        EXPECT_EQ(at_cmd_find(lower.c_str()), &g_at_cmd_table[i]) << lower;
        EXPECT_EQ(at_cmd_find(g_at_cmd_table[i].m_name), &g_at_cmd_table[i]);
    }
    EXPECT_EQ(at_cmd_find("^wPdOm"), &g_at_cmd_table[0]);
    for (const char* miss : {"", "^", "WPDOM", "^WPDOMX", "^WPDO", "^TESTABORT"}) {
        EXPECT_EQ(at_cmd_find(miss), nullptr) << miss;
    }
    EXPECT_EQ(at_cmd_handler(g_at_cmd_table[0], 4), nullptr);
}

}  // namespace

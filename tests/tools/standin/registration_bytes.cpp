// The registration message built from the command table, byte by byte.
#include "registration_bytes.h"

#include <cstring>

namespace standin {

namespace {

void put32(std::vector<uint8_t>& b, size_t off, uint32_t v) {
    for (size_t i = 0; i < 4; ++i) {
        b[off + i] = static_cast<uint8_t>(v >> (8 * i));
    }
}

AtHandler handler_of(const AtCmdEntry& e, int op) {
    const AtHandler h[] = {e.m_set_func, e.m_query_func, e.m_test_func, e.m_abort_func};
    return h[op];
}

}  // namespace

std::vector<uint8_t> registration_message(uint32_t pid) {
    uint32_t table_len = 0;
    for (const AtCmdEntry* e = g_at_cmd_table; e->m_name_len != 0; ++e) {
        table_len += AT_CMD_RECORD_FIXED + e->m_name_len + e->m_param_len;
    }
    const uint32_t final_len = table_len > 10240 ? table_len : 10240;
    std::vector<uint8_t> b(final_len + 28, 0);
    put32(b, 0, final_len + 28);
    b[4] = 3;  // nlmsg_type; flags 0, seq 0
    put32(b, 12, pid);
    put32(b, 16, 1);
    put32(b, 20, 0);
    put32(b, 24, table_len);
    size_t off = 28;
    for (const AtCmdEntry* e = g_at_cmd_table; e->m_name_len != 0; ++e) {
        const uint32_t timeouts[] = {e->m_set_timeout, e->m_query_timeout, e->m_test_timeout,
                                     e->m_abort_timeout};
        put32(b, off, e->m_index);
        for (int op = 0; op < 4; ++op) {
            const bool has = handler_of(*e, op) != nullptr;
            put32(b, off + 4 + 8 * static_cast<size_t>(op), has ? 0x00C0FFEEu : 0u);
            put32(b, off + 8 + 8 * static_cast<size_t>(op), timeouts[op]);
        }
        put32(b, off + 36, e->m_err_code);
        put32(b, off + 40, e->m_flag);
        put32(b, off + 44, e->m_name_len);
        std::memcpy(&b[off + 48], e->m_name, e->m_name_len);
        off += 48 + e->m_name_len + 1;
        put32(b, off, e->m_param_len);
        off += 4;
        if (e->m_param_len != 0) {
            std::memcpy(&b[off], e->m_param, e->m_param_len);
        }
        off += e->m_param_len + 1;
    }
    return b;
}

}  // namespace standin

// The command table: every AT command the daemon registers with the kernel AT driver.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "at_record.h"

// One row. Words 1 to 11 travel to the kernel verbatim as 32-bit words.
struct AtCmdEntry {
    uint32_t m_index;
    AtHandler m_set_func;
    uint32_t m_set_timeout;
    AtHandler m_query_func;
    uint32_t m_query_timeout;
    AtHandler m_test_func;
    uint32_t m_test_timeout;
    AtHandler m_abort_func;
    uint32_t m_abort_timeout;
    uint32_t m_err_code;
    uint32_t m_flag;
    uint32_t m_name_len;  // strlen(m_name) + 1
    const char* m_name;
    uint32_t m_param_len;  // strlen(m_param) + 1, or 0 without a template
    const char* m_param;
};

// On the module every word is 32 bits wide; the layout is pinned there.
static_assert(sizeof(void*) != 4 || sizeof(AtCmdEntry) == 60);
static_assert(sizeof(void*) != 4 || offsetof(AtCmdEntry, m_err_code) == 36);
static_assert(sizeof(void*) != 4 || offsetof(AtCmdEntry, m_param) == 56);

inline constexpr size_t AT_CMD_COUNT = 81;
// Bytes of one row's record in the registration message, besides its name and template.
inline constexpr uint32_t AT_CMD_RECORD_FIXED = 54;
// Bytes of the whole table in the registration message.
inline constexpr uint32_t AT_CMD_TABLE_REG_LEN = 5313;

// The 81 rows in registration order and the terminator row.
extern const AtCmdEntry g_at_cmd_table[AT_CMD_COUNT + 1];

// The row whose name equals name ignoring case, or null. The walk stops at
// the terminator (m_name_len 0) or at the match, the only one there can be.
const AtCmdEntry* at_cmd_find(const char* name);

// The handler of operation type in row e (null when the row has none or the
// type is not 0 to 3).
AtHandler at_cmd_handler(const AtCmdEntry& e, uint32_t type);

// AT request and response records shared with the kernel AT driver, byte for byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

// Size of the buffers in which one request or one response is handled.
inline constexpr uint32_t FIX_NL_DATA_LENGTH = 10240;

// Operations (m_type).
inline constexpr uint32_t NL_TYPE_SET = 0;
inline constexpr uint32_t NL_TYPE_QUERY = 1;
inline constexpr uint32_t NL_TYPE_TEST = 2;
inline constexpr uint32_t NL_TYPE_ABORT = 3;

// Port indices.
inline constexpr uint32_t PCUI = 0;
inline constexpr uint32_t AT_PORT_REFUSED = 5;  // requests on this port are refused with 10

// Results that the core itself sets in m_retenum.
inline constexpr int32_t AT_RET_OK = 0;
inline constexpr int32_t AT_RET_PORT_REFUSED = 10;
inline constexpr int32_t AT_RET_NO_HANDLER = 20;

// Handler results.
inline constexpr int32_t TANDREL_OK = 0;
inline constexpr int32_t TANDREL_FAIL = -1;

inline constexpr size_t AT_CMD_NAME_SIZE = 67;
inline constexpr size_t AT_PARA_TEXT_SIZE = 561;
inline constexpr size_t AT_MAX_PARAS = 17;
inline constexpr size_t AT_RESPONSE_HEADER_SIZE = 24;
inline constexpr size_t AT_RESPONSE_TEXT_SIZE = 10204;

// The reply texts every handler uses.
inline constexpr char AT_TEXT_OK[] = "\r\nOK\r\n";
inline constexpr char AT_TEXT_ERROR[] = "\r\nERROR\r\n";

// One parameter as typed: numeric when usParaLen is 0, else text.
struct AtCmdParam {
    uint32_t ulParaValue;
    char aucPara[AT_PARA_TEXT_SIZE];
    uint8_t m_pad;
    uint16_t usParaLen;
};

struct AtRequest {
    uint32_t m_uindex;
    uint32_t m_magic;
    uint32_t m_type;
    uint8_t m_reserved;
    char m_atcmd[AT_CMD_NAME_SIZE];
    uint32_t m_para_count;
    AtCmdParam m_para_list[AT_MAX_PARAS];
};

struct AtResponse {
    uint32_t m_uindex;
    uint32_t m_magic;
    uint32_t m_protocol;
    uint32_t m_id;
    int32_t m_retenum;
    uint32_t m_length;
    char m_buffer[AT_RESPONSE_TEXT_SIZE];
};

using AtHandler = int32_t (*)(AtRequest* pIn, AtResponse* pOut);

static_assert(sizeof(AtCmdParam) == 568);
static_assert(offsetof(AtCmdParam, ulParaValue) == 0);
static_assert(offsetof(AtCmdParam, aucPara) == 4);
static_assert(offsetof(AtCmdParam, usParaLen) == 566);
static_assert(offsetof(AtRequest, m_uindex) == 0);
static_assert(offsetof(AtRequest, m_magic) == 4);
static_assert(offsetof(AtRequest, m_type) == 8);
static_assert(offsetof(AtRequest, m_reserved) == 12);
static_assert(offsetof(AtRequest, m_atcmd) == 13);
static_assert(offsetof(AtRequest, m_para_count) == 80);
static_assert(offsetof(AtRequest, m_para_list) == 84);
static_assert(sizeof(AtRequest) == 84 + 17 * 568 && sizeof(AtRequest) == 9740);
static_assert(sizeof(AtRequest) <= FIX_NL_DATA_LENGTH);
static_assert(offsetof(AtResponse, m_protocol) == 8);
static_assert(offsetof(AtResponse, m_id) == 12);
static_assert(offsetof(AtResponse, m_retenum) == 16);
static_assert(offsetof(AtResponse, m_length) == 20);
static_assert(offsetof(AtResponse, m_buffer) == AT_RESPONSE_HEADER_SIZE);
static_assert(sizeof(AtResponse) == 10228);
static_assert(sizeof(AtResponse) <= FIX_NL_DATA_LENGTH);

// The text of a parameter, never read past its field whether or not the
// kernel terminated it.
inline std::string_view at_para_text(const AtCmdParam& p) {
    return {p.aucPara, strnlen(p.aucPara, sizeof p.aucPara)};
}

// Wire size of a response: header, text and the terminating NUL.
inline uint32_t at_response_wire_size(const AtResponse& r) {
    return r.m_length + static_cast<uint32_t>(AT_RESPONSE_HEADER_SIZE) + 1;
}

// Writes a fixed text answer into a response (bounded by m_buffer).
void at_set_text(AtResponse* pOut, std::string_view text);
// Formats an answer into a response (bounded by m_buffer) and sets m_length
// to the text written.
void at_set_textf(AtResponse* pOut, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
// Marks a response as failed: m_retenum set, no text.
void at_set_error(AtResponse* pOut, int32_t retenum);

// Parameter checks and conversions of the FOTA commands.
#pragma once

#include <cstdint>
#include <string_view>

#include "at_record.h"

// Results that the FOTA handlers set themselves.
inline constexpr int32_t FOTA_RET_BAD_PARAM = 174;
inline constexpr int32_t FOTA_RET_NO_BUFFER = 172;
inline constexpr int32_t FOTA_RET_GENERIC = 20;

// m_retenum for an error code of the online update service: codes 1 to 18
// are mapped by table, anything else gives 20.
int32_t update_get_at_retNum(int32_t code);

// The text of parameter i, bounded by its field; empty for a parameter past
// m_para_count, so a missing parameter reads like an empty one.
std::string_view fota_para(const AtRequest* pIn, uint32_t i);

// Removes the enclosing double quotes of the first len characters of in
// (stopping early at a NUL) and writes the text between them, terminated,
// to out; out may be in and has room for len bytes. Returns 1 when in starts
// with a quote and a closing quote follows, else 0.
int32_t update_strip_quotes_out(const char* in, char* out, uint32_t len);
// As update_strip_quotes_out, and also refuses characters after the closing
// quote: the text must be exactly a quote, characters other than a quote and
// a closing quote, filling len (taken as a 16-bit length).
int32_t update_at_strip_quotes_out(const char* in, char* out, uint32_t len);

// 1 for an APN of letters (either case), digits, '-' and '.', beginning and
// ending with a letter or digit when longer than one character; else 0.
// Only the first 99 characters are looked at.
int32_t update_at_check_apn(const char* apn);

// 1 for an authentication type of 0, 1 or 2.
int32_t update_at_check_auth_type_valid(uint32_t value);

// Unsigned 32-bit conversion in base 2 to 36; blanks are skipped and letters
// count in either case. Returns 0 on success, 1 when the text holds no digit,
// 2 for a character that is not a digit of the base, an overflow, a base
// outside 2 to 36 or a null out.
int32_t update_parse_uint(uint32_t* out, std::string_view text, uint32_t base);

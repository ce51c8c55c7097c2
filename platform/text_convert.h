// Platform text checks and conversions used on command parameters.
#pragma once

#include <cstdint>

extern "C" {
// Non-zero when every character of the NUL-terminated text is one of the
// characters of allowed (so also for an empty text); 0 otherwise or when
// either pointer is null.
int32_t check_valid_chars(const char* text, const char* allowed);

// 1 when the len characters of text are enclosed in double quotes (len at
// least 2, no NUL among them): the len - 2 characters between the quotes are
// written to out, followed by a NUL, so out must hold len - 1 bytes (text and
// out may be the same buffer). 0 otherwise, out untouched.
int32_t gps_quotes_out(const char* text, char* out, uint32_t len);

// Decimal numbers from a whole NUL-terminated text. The value is written to
// the first argument and the result is 1 when the text converts; 0 (value
// untouched) for a null pointer, an empty text, any character the number
// does not use (blanks included) or a value the type cannot hold.
//  int and int64: an optional sign and decimal digits;
//  double and float: an optional sign, digits with an optional decimal point
//  (at least one digit), an optional exponent; no "inf", "nan" or hex forms;
//  a value beyond the type's range fails, one below its precision rounds.
int32_t string_change_int_number(int32_t* value, const char* text);
int32_t string_change_int64_number(int64_t* value, const char* text);
int32_t string_change_double_number(double* value, const char* text);
int32_t string_change_float_number(float* value, const char* text);

// Decodes in_len characters of standard base64 (A-Z a-z 0-9 + /, padded with
// '=' to a multiple of 4 characters, unused bits zero) into out. 0 on
// success with the byte count in *out_len; -1 for an empty or malformed text,
// or when the bytes would exceed out_size.
int32_t AtBase64Decode(const char* in, uint32_t in_len, uint8_t* out, uint32_t out_size,
                       uint32_t* out_len);

// Turns in_len hexadecimal digits (either case), two per byte, into in_len / 2
// bytes of out, which must hold them. 1 on success with the byte count in
// *out_len; 0 for an empty text, an odd count or a character that is no
// hexadecimal digit.
int32_t hex_to_ascii(const char* in, uint8_t* out, uint32_t in_len, uint32_t* out_len);

// The UTC time "YYYY-MM-DDThh:mm:ss.cc" (exactly 22 characters, cc the
// hundredths) as GPS time: milliseconds since 1980-01-06T00:00:00 UTC, with
// the leap seconds between UTC and GPS time added. A second of 60 is taken
// only at the end of a day that had a leap second. 1 on success; 0 for any
// other form, a date or time that does not exist, or a time before the GPS
// epoch.
int32_t UTC_change_GPS_time(int64_t* time, const char* text);
}

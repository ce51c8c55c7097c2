// Terminal input: line assembly, V.250 command-line parsing, and the request built from a line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "at_record.h"
#include "registration.h"

namespace atsim {

inline constexpr char kS3 = '\r';    // command line termination character
inline constexpr char kS5 = '\b';    // backspace
inline constexpr char kDel = '\x7f';  // what most terminals send for the backspace key
// Longest command line kept; longer lines are answered with an error.
inline constexpr size_t kMaxLineLength = 10239;
// Longest parameter text: aucPara less its terminating NUL.
inline constexpr size_t kMaxParamText = AT_PARA_TEXT_SIZE - 1;

// Collects the characters of one command line as a terminal sends them, one
// or a few at a time.
class LineAssembler {
public:
    enum class Fed {
        Stored,   // the character joined the line
        Erased,   // backspace removed the last character
        Ignored,  // control character, backspace on an empty line, or past the limit
        LineEnd,  // CR or LF: the line is complete, take() it
    };

    Fed feed(char c);
    // The completed line. A line that grew past kMaxLineLength comes back
    // with overflowed set; both reset for the next line.
    std::string take(bool* overflowed);
    size_t size() const { return line_.size(); }

private:
    std::string line_;
    bool overflow_ = false;
};

// One command line, classified.
struct CommandLine {
    enum class Kind {
        Empty,     // nothing typed: ignored
        Plain,     // "AT"
        Echo,      // "ATE0", "ATE1", "ATE"
        Extended,  // "AT^NAME..."
        Invalid,   // anything else; why says what is wrong
    };
    Kind kind = Kind::Invalid;
    bool echo_on = false;             // Echo
    std::string name;                 // Extended: "^" and the name as typed
    uint32_t type = NL_TYPE_SET;      // Extended: the operation
    std::vector<std::string> params;  // Extended set: parameters as typed, "" when omitted
    std::string why;                  // Invalid
};

// Splits a command line (without its CR) as V.250/27.007 lay it out:
// "AT^CMD=..." set, "AT^CMD?" query, "AT^CMD=?" test, "AT^CMD" set without
// parameters. Quoted strings may hold commas; quotes must balance; at most
// 17 parameters.
CommandLine parse_command_line(std::string_view line);

// Fills req for an extended command line against its registered row: the
// registered name, the operation, the port and the parameters typed as the
// driver types them. Returns false, saying why, when the parameters do not
// fit the row's template or a parameter field.
bool build_request(const CommandLine& line, const CommandRow& row, uint32_t port, AtRequest& req,
                   std::string* why);

}  // namespace atsim

// Terminal input: line assembly, command-line parsing and typing of the parameters.
#include "command_line.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace atsim {

namespace {

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool is_name_char(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool quoted(std::string_view p) { return p.size() >= 2 && p.front() == '"' && p.back() == '"'; }

// An unquoted decimal number of at most 32 bits.
bool typed_number(std::string_view p, uint32_t& value) {
    if (p.empty() || p.size() > 10) {
        return false;
    }
    for (char c : p) {
        if (c < '0' || c > '9') {
            return false;
        }
    }
    const auto [end, ec] = std::from_chars(p.data(), p.data() + p.size(), value);
    return ec == std::errc() && end == p.data() + p.size();
}

CommandLine invalid(std::string why) {
    CommandLine l;
    l.kind = CommandLine::Kind::Invalid;
    l.why = std::move(why);
    return l;
}

// Splits the text after '=' at the commas outside quotes.
bool split_params(std::string_view s, std::vector<std::string>& out, std::string& why) {
    if (s.empty()) {
        return true;  // "AT^CMD=" is a set without parameters
    }
    bool in_quotes = false;
    std::string cur;
    for (char c : s) {
        if (c == '"') {
            in_quotes = !in_quotes;
        }
        if (c == ',' && !in_quotes) {
            out.push_back(std::move(cur));
            cur.clear();
        } else {
            cur.push_back(c);
        }
    }
    if (in_quotes) {
        why = "unbalanced quotes";
        return false;
    }
    out.push_back(std::move(cur));
    if (out.size() > AT_MAX_PARAS) {
        why = "more than " + std::to_string(AT_MAX_PARAS) + " parameters";
        return false;
    }
    return true;
}

void put_text(AtCmdParam& p, std::string_view text) {
    std::memcpy(p.aucPara, text.data(), text.size());
    p.aucPara[text.size()] = '\0';
}

}  // namespace

LineAssembler::Fed LineAssembler::feed(char c) {
    if (c == kS3 || c == '\n') {
        return Fed::LineEnd;
    }
    if (c == kS5 || c == kDel) {
        if (line_.empty() || overflow_) {
            return Fed::Ignored;
        }
        line_.pop_back();
        return Fed::Erased;
    }
    if (static_cast<unsigned char>(c) < 0x20) {
        return Fed::Ignored;
    }
    if (line_.size() >= kMaxLineLength) {
        overflow_ = true;
        return Fed::Ignored;
    }
    line_.push_back(c);
    return Fed::Stored;
}

std::string LineAssembler::take(bool* overflowed) {
    *overflowed = overflow_;
    overflow_ = false;
    std::string line;
    line.swap(line_);
    return line;
}

CommandLine parse_command_line(std::string_view line) {
    if (line.empty()) {
        CommandLine l;
        l.kind = CommandLine::Kind::Empty;
        return l;
    }
    if (line.size() < 2 || upper(line[0]) != 'A' || upper(line[1]) != 'T') {
        return invalid("no AT prefix");
    }
    const std::string_view rest = line.substr(2);
    if (rest.empty()) {
        CommandLine l;
        l.kind = CommandLine::Kind::Plain;
        return l;
    }
    if (upper(rest[0]) == 'E' && rest.size() <= 2) {
        if (rest.size() == 1 || rest[1] == '0' || rest[1] == '1') {
            CommandLine l;
            l.kind = CommandLine::Kind::Echo;
            l.echo_on = rest.size() == 2 && rest[1] == '1';
            return l;
        }
    }
    if (rest[0] != '^') {
        return invalid("command not served here");
    }
    size_t end = 1;
    while (end < rest.size() && is_name_char(rest[end])) {
        ++end;
    }
    if (end == 1) {
        return invalid("no command name");
    }
    if (end >= AT_CMD_NAME_SIZE) {
        return invalid("command name too long");
    }
    CommandLine l;
    l.kind = CommandLine::Kind::Extended;
    l.name = std::string(rest.substr(0, end));
    const std::string_view suffix = rest.substr(end);
    if (suffix.empty()) {
        l.type = NL_TYPE_SET;
    } else if (suffix == "?") {
        l.type = NL_TYPE_QUERY;
    } else if (suffix == "=?") {
        l.type = NL_TYPE_TEST;
    } else if (suffix.substr(0, 2) == "=?") {
        return invalid("unexpected characters after \"=?\"");
    } else if (suffix[0] == '=') {
        l.type = NL_TYPE_SET;
        std::string why;
        if (!split_params(suffix.substr(1), l.params, why)) {
            return invalid(why);
        }
    } else {
        return invalid("unexpected characters after the command name");
    }
    return l;
}

bool build_request(const CommandLine& line, const CommandRow& row, uint32_t port, AtRequest& req,
                   std::string* why) {
    std::string dummy;
    if (why == nullptr) {
        why = &dummy;
    }
    std::memset(&req, 0, sizeof req);
    req.m_uindex = port;
    req.m_type = line.type;
    std::memcpy(req.m_atcmd, row.name.data(), std::min(row.name.size(), sizeof req.m_atcmd - 1));

    if (line.params.size() > AT_MAX_PARAS) {
        *why = "more than " + std::to_string(AT_MAX_PARAS) + " parameters";
        return false;
    }
    if (row.params && line.params.size() > row.params->size()) {
        *why = std::to_string(line.params.size()) + " parameters for the template \"" +
               row.params_text + "\"";
        return false;
    }
    for (size_t i = 0; i < line.params.size(); ++i) {
        const std::string& typed = line.params[i];
        AtCmdParam& p = req.m_para_list[i];
        const std::string which = "parameter " + std::to_string(i + 1) + " of " + row.name;
        if (typed.empty()) {
            continue;  // omitted: the entry stays all zero
        }
        if (typed.size() > kMaxParamText) {
            *why = which + " is longer than " + std::to_string(kMaxParamText) + " characters";
            return false;
        }
        const TemplateItem* item = row.params ? &(*row.params)[i] : nullptr;
        if (item != nullptr && !item->text) {
            uint32_t value = 0;
            if (quoted(typed) || !typed_number(typed, value)) {
                *why = which + " is not a number";
                return false;
            }
            if (!item->allows(value)) {
                *why = which + ": " + typed + " is outside \"" + row.params_text + "\"";
                return false;
            }
            p.ulParaValue = value;
            put_text(p, typed);
            p.usParaLen = 0;
        } else {
            // Text: as typed, quotes included and counted.
            put_text(p, typed);
            p.usParaLen = static_cast<uint16_t>(typed.size());
        }
    }
    req.m_para_count = static_cast<uint32_t>(line.params.size());
    return true;
}

}  // namespace atsim

// Parameter templates: parsing and the value check.
#include "at_template.h"

#include <charconv>

namespace atsim {

namespace {

bool is_name_char(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// A decimal number of at most 32 bits, nothing else.
bool parse_u32(std::string_view s, uint32_t& out) {
    if (s.empty()) {
        return false;
    }
    for (char c : s) {
        if (c < '0' || c > '9') {
            return false;
        }
    }
    const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), out);
    return ec == std::errc() && end == s.data() + s.size();
}

bool parse_item(std::string_view body, TemplateItem& item, std::string* why) {
    if (!body.empty() && body[0] == '@') {
        const std::string_view name = body.substr(1);
        if (name.empty()) {
            *why = "text item without a name";
            return false;
        }
        for (char c : name) {
            if (!is_name_char(c)) {
                *why = "bad character in text item name";
                return false;
            }
        }
        item.text = true;
        item.text_name = std::string(name);
        return true;
    }
    if (body.empty()) {
        *why = "empty item";
        return false;
    }
    size_t pos = 0;
    while (pos <= body.size()) {
        const size_t comma = body.find(',', pos);
        const std::string_view part =
            body.substr(pos, comma == std::string_view::npos ? std::string_view::npos : comma - pos);
        const size_t dash = part.find('-');
        uint32_t lo = 0;
        uint32_t hi = 0;
        if (dash == std::string_view::npos) {
            if (!parse_u32(part, lo)) {
                *why = "bad value \"" + std::string(part) + "\"";
                return false;
            }
            hi = lo;
        } else if (!parse_u32(part.substr(0, dash), lo) || !parse_u32(part.substr(dash + 1), hi) ||
                   lo > hi) {
            *why = "bad range \"" + std::string(part) + "\"";
            return false;
        }
        item.ranges.emplace_back(lo, hi);
        if (comma == std::string_view::npos) {
            break;
        }
        pos = comma + 1;
    }
    return true;
}

}  // namespace

bool TemplateItem::allows(uint32_t value) const {
    for (const auto& [lo, hi] : ranges) {
        if (value >= lo && value <= hi) {
            return true;
        }
    }
    return false;
}

std::optional<Template> parse_template(std::string_view text, std::string* why) {
    std::string dummy;
    if (why == nullptr) {
        why = &dummy;
    }
    Template items;
    size_t pos = 0;
    if (text.empty()) {
        *why = "empty template";
        return std::nullopt;
    }
    while (true) {
        if (pos >= text.size() || text[pos] != '(') {
            *why = "item " + std::to_string(items.size() + 1) + " does not begin with '('";
            return std::nullopt;
        }
        const size_t close = text.find(')', pos);
        if (close == std::string_view::npos) {
            *why = "item " + std::to_string(items.size() + 1) + " is not closed";
            return std::nullopt;
        }
        TemplateItem item;
        std::string item_why;
        if (!parse_item(text.substr(pos + 1, close - pos - 1), item, &item_why)) {
            *why = "item " + std::to_string(items.size() + 1) + ": " + item_why;
            return std::nullopt;
        }
        items.push_back(std::move(item));
        pos = close + 1;
        if (pos == text.size()) {
            return items;
        }
        if (text[pos] != ',') {
            *why = "item " + std::to_string(items.size()) + " is followed by '" +
                   std::string(1, text[pos]) + "'";
            return std::nullopt;
        }
        ++pos;
    }
}

}  // namespace atsim

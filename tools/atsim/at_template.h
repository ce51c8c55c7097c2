// Parameter templates of registered commands: "(0,1,5)", "(0-65535),(1-1800)", "(@tlsdata)".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace atsim {

// One parenthesised item: a text parameter ("@name"), or the numbers a
// numeric parameter may take (single values and inclusive ranges).
struct TemplateItem {
    bool text = false;
    std::string text_name;
    std::vector<std::pair<uint32_t, uint32_t>> ranges;

    bool allows(uint32_t value) const;
};

using Template = std::vector<TemplateItem>;

// Parses a template: items separated by commas, no blanks; an item is a list
// of values and ranges "(0,2-5)" or a text item "(@name)". On failure returns
// nothing and says why in *why.
std::optional<Template> parse_template(std::string_view text, std::string* why);

}  // namespace atsim

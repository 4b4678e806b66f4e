#pragma once

#include <algorithm>
#include <string_view>

namespace tallywick {

/// Takes the first line off the text, without its end.
inline std::string_view takeLine(std::string_view& text) {
    const std::size_t length = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    return line;
}

/// Takes the first field, bounded by spaces and tabs, off the line; empty when none is left.
inline std::string_view takeField(std::string_view& line) {
    constexpr std::string_view blanks = " \t";
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    const std::string_view field = line.substr(0, line.find_first_of(blanks));
    line.remove_prefix(field.size());
    return field;
}

} // namespace tallywick

#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace tallywick {

/// The integer that the whole text is in digits of the base, of either case; a minus sign may stand
/// before one of a signed type. Absent when the text is anything else, or its number does not fit.
template <typename Integer>
std::optional<Integer> wholeNumber(std::string_view text, int base = 10) {
    Integer value{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value, base);
    return error == std::errc() && rest == end ? std::optional(value) : std::nullopt;
}

/// As `wholeNumber`, in decimal digits, where a plus sign may stand before them too.
template <typename Integer>
std::optional<Integer> signedWholeNumber(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    return wholeNumber<Integer>(text);
}

} // namespace tallywick

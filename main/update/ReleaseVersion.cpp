#include "update/ReleaseVersion.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace tallywick {

namespace {

constexpr std::size_t maximumTextBytes = 32;
constexpr std::int64_t maximumComponent = 999'999;

std::optional<std::int64_t> component(std::string_view digits) {
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos
        || (digits.size() > 1 && digits.front() == '0'))
        return std::nullopt;
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || value > maximumComponent)
        return std::nullopt;
    return value;
}

} // namespace

std::optional<ReleaseVersion> ReleaseVersion::parse(std::string_view text, Form form) {
    if (text.size() > maximumTextBytes)
        return std::nullopt;
    ReleaseVersion version;
    std::size_t count = 0;
    for (std::size_t begin = 0; begin <= text.size(); ++count) {
        const std::size_t end = std::min(text.find('.', begin), text.size());
        const auto value = component(text.substr(begin, end - begin));
        if (!value || count == version.components.size())
            return std::nullopt;
        version.components[count] = *value;
        begin = end + 1;
    }
    if (count < (form == Form::threeNumbers ? 3U : 2U))
        return std::nullopt;
    return version;
}

} // namespace tallywick

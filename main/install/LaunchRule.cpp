#include "install/LaunchRule.h"

#include "base/CanonicalPath.h"
#include "base/Product.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace tallywick::LaunchRule {

std::optional<int> finishInstallProcess(std::span<const std::string> arguments) {
    if (arguments.size() != 3 || arguments[1] != Product::finishInstallArgument)
        return std::nullopt;
    std::string_view number = arguments[2];
    if (number.starts_with('+') && !number.starts_with("+-"))
        number.remove_prefix(1);
    std::int32_t value = 0;
    const char* const end = number.data() + number.size();
    const auto [rest, error] = std::from_chars(number.data(), end, value);
    if (error != std::errc() || rest != end)
        return std::nullopt;
    return value;
}

std::optional<RunningApplication> copyToActivate(std::span<const RunningApplication> running,
                                                 const ThisCopy& thisCopy) {
    const auto other = std::ranges::find_if(running, [&](const RunningApplication& application) {
        return application.processId != thisCopy.processId
               && application.processId != thisCopy.installedBy;
    });
    if (other == running.end())
        return std::nullopt;
    if (thisCopy.isInstalled
        || standardisedPath(other->bundle) == standardisedPath(thisCopy.bundle))
        return *other;
    return std::nullopt;
}

} // namespace tallywick::LaunchRule

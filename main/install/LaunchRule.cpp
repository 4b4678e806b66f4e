#include "install/LaunchRule.h"

#include "base/CanonicalPath.h"
#include "base/Product.h"
#include "base/WholeNumber.h"

#include <algorithm>
#include <cstdint>

namespace tallywick::LaunchRule {

std::optional<int> finishInstallProcess(std::span<const std::string> arguments) {
    if (arguments.size() != 3 || arguments[1] != Product::finishInstallArgument)
        return std::nullopt;
    return signedWholeNumber<std::int32_t>(arguments[2]);
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

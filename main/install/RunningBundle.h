#pragma once

#include "platform/CodeSignature.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tallywick {

/// What is known at start of the application bundle that runs.
struct RunningBundle {
    std::optional<std::string> version; ///< its short version
    bool isPreview = false;
    bool isInstalled = false; ///< it lies where an installed copy lies
    /// Whether it is a complete copy. Reads the whole bundle; any thread.
    std::function<bool()> isVerified = [] { return false; };
};

/// Looks at the bundle's place and information dictionary. Damaged entries count as missing.
RunningBundle inspectBundle(const std::filesystem::path& bundle,
                            const std::vector<std::filesystem::path>& applicationsFolders,
                            std::shared_ptr<const CodeSignature> signature);

} // namespace tallywick

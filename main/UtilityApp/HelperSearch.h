#pragma once

#include "codex/CodexLocator.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace tallywick {

/// Where this start of the program takes its helpers from: the one that the command line names, or
/// else the places of the system.
class HelperSearch {
  public:
    explicit HelperSearch(std::optional<std::filesystem::path> named);

    /// Checked helpers, best first; `preferred` before those that are searched for.
    std::vector<std::filesystem::path>
    candidates(const std::optional<std::filesystem::path>& preferred = std::nullopt) const;

    std::optional<std::filesystem::path> resolve(const std::filesystem::path& chosen) const {
        return locator.resolve(chosen);
    }

  private:
    CodexLocator locator;
    std::optional<std::filesystem::path> namedHelper;
};

} // namespace tallywick

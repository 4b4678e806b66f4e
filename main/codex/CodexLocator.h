#pragma once

#include "codex/HelperDiscovery.h"
#include "codex/HelperPlaces.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace tallywick {

/// Finds the native Codex helpers that are on the machine. Keeps nothing between two calls, so a
/// helper that is installed or removed counts from the next one on; any thread.
///
/// Nothing is started, and of a file no more than its beginning is read. Whatever cannot be read,
/// is no helper or vanishes meanwhile is passed over.
class CodexLocator {
  public:
    explicit CodexLocator(HelperPlaces places);

    /// The first helpers in the order of the places, `preferred` before all of them, at most
    /// `maximumHelpers`; no two are the same file. Each is what `resolve` gives.
    std::vector<std::filesystem::path>
    candidates(const std::optional<std::filesystem::path>& preferred = std::nullopt) const;

    /// The same, telling of each helper as it is found, and passing over what must not be entered.
    void search(const HelperQuery& query, SearchProgress& progress) const;

    /// The helper that `chosen` stands for, its path absolute and without links: the file itself;
    /// of an application, the helper inside; of a link or a script that a package manager has put
    /// somewhere, of the package's folder and of anything inside it, the helper in the package.
    ///
    /// Absent unless that is an executable regular file for this processor, and its own name, not
    /// that of a link, is "codex" or begins with "codex-".
    std::optional<std::filesystem::path> resolve(const std::filesystem::path& chosen) const;

  private:
    std::optional<std::filesystem::path> nativeHelper(const std::filesystem::path& place) const;

    HelperPlaces places;
};

/// The search over the places of the system that this program runs on.
HelperSearch systemHelperSearch();

} // namespace tallywick

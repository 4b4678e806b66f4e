#pragma once

#include "base/Mutex.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace tallywick {

/// What is searched for.
struct HelperQuery {
    /// Chosen by the user: the helper that it stands for comes before all others.
    std::optional<std::filesystem::path> chosen = std::nullopt;
    bool onlyChosen = false; ///< nothing else counts

    bool operator==(const HelperQuery&) const = default;
};

/// What a search has found so far and where it is, so that one which hangs is of use to somebody.
/// Any thread.
class SearchProgress {
  public:
    SearchProgress() = default;
    /// Of a search that stays away from this place and from what lies above or below it.
    explicit SearchProgress(std::filesystem::path avoidedPlace);

    // For the search

    /// To be asked before a place is looked at. False when it must not be touched.
    bool enter(const std::filesystem::path& place) EXCLUDES(mutex);
    /// A helper that was not found before.
    void add(std::filesystem::path helper) EXCLUDES(mutex);

    // For who waits for it

    /// The helpers so far, best first.
    std::vector<std::filesystem::path> found() const EXCLUDES(mutex);
    /// The place that was entered last.
    std::filesystem::path place() const EXCLUDES(mutex);
    /// Nothing is entered any more.
    void end() EXCLUDES(mutex);

  private:
    const std::filesystem::path avoided;
    mutable Mutex mutex;
    std::vector<std::filesystem::path> helpers GUARDED_BY(mutex);
    std::filesystem::path current GUARDED_BY(mutex);
    bool ended GUARDED_BY(mutex) = false;
};

/// Searches, for as long as the disks take, which may be for ever. Called on threads of its own; it
/// must own what it uses and not throw.
using HelperSearch = std::function<void(const HelperQuery&, SearchProgress&)>;

} // namespace tallywick

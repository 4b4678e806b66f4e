#pragma once

#include "base/DetachedCall.h"
#include "base/Mutex.h"
#include "base/SerialQueue.h"
#include "codex/ConnectionIssue.h"

#include <tl/expected.hpp>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tallywick {

/// Most helpers that a search names, and that are tried for one refresh of the account.
inline constexpr std::size_t maximumHelpers = 3;

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

/// Finds helpers without being held up by a disk that does not answer: a dead network share on the
/// search path must freeze neither the window nor the helpers that lie elsewhere.
///
/// A search runs on a thread of its own. One that is overdue is left behind, and what it has found
/// until then counts; when that is nothing, a second one stays away from the place at which the
/// first hangs. No third is begun until one of the two has come to its end: until then what was
/// known last counts. Nothing waits for what was left behind, the destructor and the program's end
/// included.
///
/// Any thread; must not be destroyed on its own queue.
class HelperDiscovery {
  public:
    using Helpers = std::vector<std::filesystem::path>;
    /// The helpers, best first; `timeout` when nothing is known but that the search hangs.
    using Outcome = tl::expected<Helpers, ConnectionIssue>;

    /// What a search takes is some milliseconds, and seconds when a disk has to wake up.
    static constexpr std::chrono::milliseconds usualLimit{10'000};

    explicit HelperDiscovery(HelperSearch search, std::chrono::milliseconds limit = usualLimit);
    ~HelperDiscovery();
    HelperDiscovery(const HelperDiscovery&) = delete;
    HelperDiscovery& operator=(const HelperDiscovery&) = delete;

    /// Searches, one query after the other. `answer` is called on the queue of the discovery, two
    /// limits later at the latest, or never when the discovery is destroyed before.
    void find(HelperQuery query, std::function<void(const Outcome&)> answer);

    /// The same for a caller that may be held up so long.
    Outcome findNow(const HelperQuery& query);

  private:
    struct Search {
        std::shared_ptr<SearchProgress> progress;
        DetachedCall<bool>::Pointer call;
    };

    Outcome run(const HelperQuery& query) REQUIRES(queue);
    Search begin(const HelperQuery& query) REQUIRES(queue);
    bool hasEnded() EXCLUDES(mutex);

    const HelperSearch search;
    const std::chrono::milliseconds limit;

    Mutex mutex;
    bool ended GUARDED_BY(mutex) = false;
    DetachedCall<bool>::Pointer current GUARDED_BY(mutex); ///< that the queue waits for

    std::vector<Search> hanging GUARDED_BY(queue); ///< at most two
    HelperQuery knownQuery GUARDED_BY(queue);
    Helpers knownHelpers GUARDED_BY(queue); ///< of the last search that came to its end

    SerialQueue queue{"com.corvane.utility.discovery"};
};

} // namespace tallywick

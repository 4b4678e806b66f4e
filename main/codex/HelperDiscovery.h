#pragma once

#include "base/DetachedCall.h"
#include "base/SerialQueue.h"
#include "codex/ConnectionIssue.h"
#include "codex/HelperSearch.h"

#include <tl/expected.hpp>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace tallywick {

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

#include "codex/HelperDiscovery.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

/// One that is left behind, and one that stays away from where the first hangs.
constexpr std::size_t maximumHanging = 2;

bool isWithin(const fs::path& path, const fs::path& folder) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first
           == folder.end();
}

} // namespace

// The progress of one search

SearchProgress::SearchProgress(fs::path avoidedPlace) : avoided(std::move(avoidedPlace)) {}

bool SearchProgress::enter(const fs::path& place) {
    MutexLock lock(mutex);
    if (ended || (!avoided.empty() && (isWithin(place, avoided) || isWithin(avoided, place))))
        return false;
    current = place;
    return true;
}

void SearchProgress::add(fs::path helper) {
    MutexLock lock(mutex);
    helpers.push_back(std::move(helper));
}

std::vector<fs::path> SearchProgress::found() const {
    MutexLock lock(mutex);
    return helpers;
}

fs::path SearchProgress::place() const {
    MutexLock lock(mutex);
    return current;
}

void SearchProgress::end() {
    MutexLock lock(mutex);
    ended = true;
}

// The searches

HelperDiscovery::HelperDiscovery(HelperSearch how, std::chrono::milliseconds longest)
    : search(std::move(how)), limit(longest) {}

HelperDiscovery::~HelperDiscovery() {
    MutexLock lock(mutex);
    ended = true;
    if (current)
        current->abandon();
}

void HelperDiscovery::find(HelperQuery query, std::function<void(const Outcome&)> answer) {
    queue.async([this, query = std::move(query), answer = std::move(answer)] {
        queue.assertIsCurrent();
        const Outcome outcome = run(query);
        if (!hasEnded())
            answer(outcome);
    });
}

HelperDiscovery::Outcome HelperDiscovery::findNow(const HelperQuery& query) {
    Outcome outcome;
    queue.sync([&] {
        queue.assertIsCurrent();
        outcome = run(query);
    });
    return outcome;
}

HelperDiscovery::Outcome HelperDiscovery::run(const HelperQuery& query) {
    std::erase_if(hanging, [](const Search& left) { return left.call->hasReturned(); });
    while (hanging.size() < maximumHanging && !hasEnded()) {
        const Search next = begin(query);
        if (!next.call)
            break;
        const bool completed =
            next.call->take(std::chrono::steady_clock::now() + limit).has_value();
        const Helpers helpers = next.progress->found();
        if (completed) {
            knownQuery = query;
            return knownHelpers = helpers;
        }
        next.progress->end();
        hanging.push_back(next);
        if (!helpers.empty())
            return helpers;
    }
    if (query == knownQuery && !knownHelpers.empty())
        return knownHelpers;
    return tl::make_unexpected(ConnectionIssue::timeout);
}

/// Without a call when there is no thread to be had.
HelperDiscovery::Search HelperDiscovery::begin(const HelperQuery& query) {
    Search next{std::make_shared<SearchProgress>(
                    hanging.empty() ? std::filesystem::path() : hanging.front().progress->place()),
                nullptr};
    try {
        next.call = DetachedCall<bool>::start([run = search, query, progress = next.progress] {
            run(query, *progress);
            return true;
        });
    } catch (const std::system_error&) {
        return next;
    }
    MutexLock lock(mutex);
    current = next.call;
    if (ended)
        current->abandon();
    return next;
}

bool HelperDiscovery::hasEnded() {
    MutexLock lock(mutex);
    return ended;
}

} // namespace tallywick

#include "codex/HelperSearch.h"

#include <algorithm>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

bool isWithin(const fs::path& path, const fs::path& folder) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first
           == folder.end();
}

} // namespace

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

} // namespace tallywick

#include "history/HistoryStore.h"

#include "base/Product.h"
#include "history/HistoryFile.h"
#include "platform/FileAccess.h"
#include "platform/StandardFolders.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace tallywick {

namespace {

/// Readings closer than this, in seconds, are a repetition when they say nothing new.
constexpr Timestamp repeatWindow = 300;
/// Reset times closer than this, in seconds, are the same to a reading that repeats.
constexpr Timestamp resetTolerance = 1;
/// Seconds from one pruning pass to the next.
constexpr Timestamp pruningInterval = 3'600;

bool isRepetition(const UsageSample& previous, const Quota& quota, Timestamp now) {
    return std::abs(previous.reset - quota.reset) < resetTolerance
           && previous.usedPercent <= quota.used && now - previous.timestamp < repeatWindow;
}

} // namespace

std::filesystem::path HistoryStore::defaultFile() {
    return applicationSupportFolder() / Product::dataFolderName / "usage-history.json";
}

HistoryStore::HistoryStore(std::optional<std::filesystem::path> fileURL, Timestamp now,
                           bool persistsAutomatically)
    : file(fileURL ? std::move(*fileURL) : defaultFile()),
      automaticallyPersists(persistsAutomatically) {
    load(now);
}

void HistoryStore::load(Timestamp now) {
    const auto bytes = readRegularFile(file, maximumHistoryBytes);
    if (!bytes)
        return;
    if (const auto decoded = decodeHistory(*bytes))
        history = normalise(*decoded, now);
}

std::vector<UsageSample> HistoryStore::record(const Quota& quota, const std::string& accountHash,
                                              Timestamp now) {
    if (!isAccountHash(accountHash))
        return {};
    prune(now);
    const UsageSample* previous = lastSample(accountHash);
    if (!previous || !isRepetition(*previous, quota, now)) {
        history.push_back({now, quota.used, quota.reset, accountHash, std::nullopt});
        history = normalise(history, now);
        persist();
    }
    return samplesOf(accountHash);
}

void HistoryStore::prune(Timestamp now, bool force) {
    if (!force && now - lastPrune < pruningInterval)
        return;
    lastPrune = now;
    std::vector<UsageSample> normalised = normalise(history, now);
    if (normalised == history)
        return;
    history = std::move(normalised);
    persist();
}

void HistoryStore::persist(bool force) const {
    if (!automaticallyPersists && !force)
        return;
    const std::string bytes = encodeHistory(history);
    if (bytes.size() > maximumHistoryBytes)
        return;
    // The samples stay in memory, and the next change writes them again.
    static_cast<void>(writeFileAtomically(file, bytes));
}

const UsageSample* HistoryStore::lastSample(const std::string& accountHash) const {
    const auto found =
        std::find_if(history.rbegin(), history.rend(),
                     [&](const UsageSample& sample) { return sample.accountHash == accountHash; });
    return found == history.rend() ? nullptr : &*found;
}

std::vector<UsageSample> HistoryStore::samplesOf(const std::string& accountHash) const {
    std::vector<UsageSample> found;
    std::ranges::copy_if(history, std::back_inserter(found), [&](const UsageSample& sample) {
        return sample.accountHash == accountHash;
    });
    return found;
}

} // namespace tallywick

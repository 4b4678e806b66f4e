#include "history/HistoryStore.h"

#include "base/Product.h"
#include "history/HistoryFile.h"
#include "platform/files/FileAccess.h"
#include "platform/files/StandardFolders.h"

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

constexpr Timestamp day = 86'400;
/// How far behind and ahead of a clock that is right a reading's reset can lie: it is at most a
/// week ahead, and a day is allowed for a service or a clock that is not exact.
constexpr Timestamp farthestResetBehind = day;
constexpr Timestamp farthestResetAhead = 8 * day;
/// The longest step, in seconds, in which a clock that is right runs on. The state looks at the
/// clock every five seconds.
constexpr Timestamp longestClockStep = 3'600;

bool showsClockRight(const Quota& quota, Timestamp now) {
    return now >= Product::releaseTime && quota.reset >= now - farthestResetBehind
           && quota.reset <= now + farthestResetAhead;
}

std::optional<std::vector<UsageSample>> readHistory(const std::filesystem::path& file) {
    const auto bytes = readOwnFile(file, maximumHistoryBytes);
    return bytes ? decodeHistory(*bytes) : std::nullopt;
}

bool isRepetition(const UsageSample& previous, const Quota& quota, Timestamp now) {
    return std::abs(previous.reset - quota.reset) < resetTolerance
           && previous.usedPercent <= quota.used && now - previous.timestamp < repeatWindow;
}

} // namespace

std::filesystem::path HistoryStore::defaultFile() {
    const auto folder = applicationSupportFolder();
    return folder ? *folder / Product::dataFolderName / "usage-history.json"
                  : std::filesystem::path();
}

HistoryStore::HistoryStore(std::optional<std::filesystem::path> fileURL, Timestamp now,
                           bool persistsAutomatically)
    : file(fileURL ? std::move(*fileURL) : defaultFile()),
      automaticallyPersists(persistsAutomatically) {
    // For the time being: what the clock hides from view is read again once the clock is right.
    if (const auto stored = readHistory(file))
        history = normalise(*stored, now);
}

std::vector<UsageSample> HistoryStore::record(const Quota& quota, const std::string& accountHash,
                                              Timestamp now) {
    if (!isAccountHash(accountHash))
        return {};
    judgeClock(quota, now);
    prune(now);
    const UsageSample* previous = lastSample(accountHash);
    if (isClockRight(now) && !(previous && isRepetition(*previous, quota, now))) {
        std::vector<UsageSample> all = allSamples();
        all.push_back({now, quota.used, quota.reset, accountHash, std::nullopt});
        setSamples(all, now);
        persist();
    }
    return samplesOf(accountHash);
}

void HistoryStore::prune(Timestamp now, bool force) {
    if (!isClockRight(now) || (!force && now - lastPrune < pruningInterval))
        return;
    lastPrune = now;
    const std::vector<UsageSample> before = allSamples();
    setSamples(before, now);
    if (allSamples() != before)
        persist();
}

void HistoryStore::persist(bool force) {
    if (file.empty() || !(automaticallyPersists || force) || !rightClock)
        return;
    const auto lock = FileLock::tryToTake(file.native() + ".lock");
    if (!lock)
        return;
    takeInFile(*rightClock);
    const std::string bytes = encodeHistory(allSamples());
    if (bytes.size() > maximumHistoryBytes)
        return;
    // Should it fail, the samples stay in memory, and the next change writes them again.
    if (writeFileAtomically(file, bytes) == WriteResult::written)
        takenIn = fileVersion(file);
}

/// Whether the clock, once it was right, has run on without a leap until `now`.
bool HistoryStore::isClockRight(Timestamp now) {
    if (rightClock && std::abs(now - *rightClock) <= longestClockStep)
        rightClock = now;
    else
        rightClock.reset();
    return rightClock.has_value();
}

void HistoryStore::judgeClock(const Quota& quota, Timestamp now) {
    if (isClockRight(now) || !showsClockRight(quota, now))
        return;
    rightClock = now;
    lastPrune = distantPast; // by whatever clock it was
    takeInFile(now);
}

/// Adds what the file holds, unless it is known already.
void HistoryStore::takeInFile(Timestamp now) {
    const auto version = fileVersion(file);
    if (version == takenIn)
        return;
    if (auto all = readHistory(file)) {
        std::ranges::copy(allSamples(), std::back_inserter(*all));
        setSamples(*all, now);
    }
    takenIn = version;
}

std::vector<UsageSample> HistoryStore::allSamples() const {
    std::vector<UsageSample> all = history;
    all.insert(all.end(), ahead.begin(), ahead.end());
    return all;
}

void HistoryStore::setSamples(const std::vector<UsageSample>& all, Timestamp now) {
    history = normalise(all, now);
    ahead = samplesAhead(all, now);
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

#pragma once

#include "base/Time.h"
#include "codex/Quota.h"
#include "history/UsageHistory.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tallywick {

/// The readings of the last 14 days, of all accounts, in memory and in one file. Accounts are known
/// by their hashes alone.
///
/// Used from the main thread only. Reading and writing happen inside the call, bounded by
/// `maximumHistoryBytes`. No failure is reported: what cannot be read counts as no history and
/// stays on the disk until the next write; what cannot be written stays in memory until a later
/// write succeeds. A file reached through a symbolic link is neither read nor written.
class HistoryStore {
  public:
    /// "usage-history.json" in the folder "Corvane Tallywick" among the application support files.
    static std::filesystem::path defaultFile();

    /// Loads the file, normalised for the time `now`; writes nothing. Without `fileURL` the file is
    /// `defaultFile()`. With `automaticallyPersists` false nothing but a forced `persist` writes.
    explicit HistoryStore(std::optional<std::filesystem::path> fileURL = std::nullopt,
                          Timestamp now = systemNow(), bool automaticallyPersists = true);

    /// Takes a reading of an account and writes the file. A reading within 300 seconds of the
    /// account's previous one, with the same reset (to a second) and no lower usage, is skipped; so
    /// is one that precedes it, after the clock was set back.
    ///
    /// Returns the account's samples in ascending order of their timestamps; none when
    /// `accountHash` is no account hash, in which case nothing happens at all.
    std::vector<UsageSample> record(const Quota& quota, const std::string& accountHash,
                                    Timestamp now);

    /// Normalises the history for the time `now`, at most once in 3,600 seconds unless forced, and
    /// writes the file when that changed anything. Does nothing while `now` lies before the
    /// previous pass.
    void prune(Timestamp now, bool force = false);

    /// Writes the file, when the store persists automatically or `force` is true.
    void persist(bool force = false) const;

    /// All samples, in ascending order of their timestamps.
    const std::vector<UsageSample>& samples() const { return history; }

  private:
    void load(Timestamp now);
    const UsageSample* lastSample(const std::string& accountHash) const;
    std::vector<UsageSample> samplesOf(const std::string& accountHash) const;

    std::filesystem::path file;
    bool automaticallyPersists;
    std::vector<UsageSample> history;
    Timestamp lastPrune = distantPast;
};

} // namespace tallywick

#pragma once

#include "base/Time.h"
#include "codex/AccountAnswers.h"
#include "history/UsageHistory.h"
#include "platform/files/FileAccess.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tallywick {

/// The readings of the last 14 days, of all accounts, in memory and in one file, which several
/// programs may share. Accounts are known by their hashes alone.
///
/// Used from the main thread only. Reading and writing happen inside the call, bounded by
/// `maximumHistoryBytes`, and never wait for another program. No failure is reported: what cannot
/// be read counts as no history and stays on the disk until the next write; what cannot be written
/// stays in memory until a later write succeeds. A file reached through a symbolic link, or one of
/// another user, is neither read nor written.
///
/// A clock that is wrong costs nothing. Samples that lie ahead of it stay in the file, unseen.
/// Nothing is recorded, pruned or written before a reading has shown the clock to be right: the
/// reading's reset lies from one day behind to eight days ahead of it, and it has passed the
/// program's own release. The clock is believed from then on as long as it runs on; when it leaps
/// by more than an hour, which a sleep can also make it do, the next reading has to show it again.
class HistoryStore {
  public:
    /// "usage-history.json" in the folder "Corvane Tallywick" among the application support files;
    /// empty when there is no place for these, and nothing is kept then.
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

    /// Takes in what other programs have written meanwhile, and writes the file, when the store
    /// persists automatically or `force` is true. When another program is about to write, nothing
    /// happens: what is in memory is written with the next change.
    void persist(bool force = false);

    /// Nothing is read or written from now on: the file is about to be taken away.
    void leaveFile() { file.clear(); }

    /// The samples of one account, in ascending order of their timestamps.
    std::vector<UsageSample> samplesOf(const std::string& accountHash) const;

    /// All samples that can be seen, in ascending order of their timestamps.
    const std::vector<UsageSample>& samples() const { return history; }

  private:
    bool isClockRight(Timestamp now);
    void judgeClock(const Quota& quota, Timestamp now);
    void takeInFile(Timestamp now);
    std::vector<UsageSample> allSamples() const;
    void setSamples(const std::vector<UsageSample>& all, Timestamp now);
    const UsageSample* lastSample(const std::string& accountHash) const;

    std::filesystem::path file;
    bool automaticallyPersists;
    std::vector<UsageSample> history;
    std::vector<UsageSample> ahead;      ///< of the clock, unseen
    std::optional<FileVersion> takenIn;  ///< the file whose samples are all in memory
    std::optional<Timestamp> rightClock; ///< when the clock was last known to be right
    Timestamp lastPrune = distantPast;
};

} // namespace tallywick

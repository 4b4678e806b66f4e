#pragma once

#include "codex/AccountService.h"
#include "history/UsageHistory.h"
#include "platform/desktop/Notices.h"
#include "state/DueTime.h"
#include "state/KeptChoices.h"
#include "state/StateContext.h"

#include <functional>
#include <optional>
#include <span>
#include <string>

namespace tallywick {

/// What a notice tells of a reading.
struct UsageNotice {
    bool weekBegan = false; ///< else, how much is used
    Quota quota;
};
/// Its texts at the time `now`. They name no account.
Notice textsOf(const UsageNotice& notice, Timestamp now);

/// Which readings deserve a notice: one that reaches 80 % or 95 %, once per week and account, and
/// the first of a new week. Without a clock, a desktop or a disk.
///
/// The first reading of an account tells nothing: what was reached before it, as it or the readings
/// kept of its week show, counts as told. Usage that falls and rises again is told once. A week is
/// new when it resets later by a second or more than any known before, and usage has fallen or the
/// earlier reset has passed: the reset of a week in which nothing is used may move with each
/// reading. A reading whose reset does not lie in the eight days after it counts for nothing: one
/// of the two clocks is wrong, or its week is over.
class NoticeRules {
  public:
    /// Takes a fresh reading. `samples` are those kept of its account, in ascending order of their
    /// timestamps.
    void take(const AccountSnapshot& reading, std::span<const UsageSample> samples);

    /// The notice to show at the time `now`, if there is one: the latest of those since the last
    /// was shown, and at least ten minutes after that.
    std::optional<UsageNotice> due(Timestamp now);

    /// What waits is not shown any more. What it tells counts as told.
    void drop() { waiting.reset(); }

  private:
    struct Week {
        Timestamp reset; ///< the latest that was reported
        double used;     ///< last
        double highest;
    };
    void follow(const Quota& quota, Timestamp observedAt);

    std::optional<std::string> account; ///< its hash
    std::optional<Week> week;           ///< of that account
    std::optional<UsageNotice> waiting;
    DueTime next; ///< when another notice may be shown
};

/// The notices that the user has asked for, shown by the desktop; one that is chosen brings the
/// window forward. Publishes `tellsOfUsage`. Main thread only.
class UsageNotices {
  public:
    struct Services {
        Notices* desktop = nullptr; ///< null: nothing is shown
        bool isAskedFor = false;    ///< for this run, whatever is kept
    };
    using ShowWindow = std::function<void(const std::string& launchToken)>;

    /// Context, choices and desktop must outlive it.
    UsageNotices(StateContext& given, KeptChoices& kept, Services with, ShowWindow show);

    /// Whether the user wants them, kept for the next start.
    void choose(bool wanted);

    /// A reading has been applied; what is kept of its account goes with it.
    void take(const AccountSnapshot& reading, std::span<const UsageSample> samples);
    /// Part of each tick: shows what has waited long enough, once the reading on show is fresh.
    void keepUp();
    /// What waits is not shown any more.
    void drop() { rules.drop(); }

  private:
    bool isReadingFresh() const;

    StateContext& context;
    const UtilityFields& fields;
    KeptChoices& choices;
    Notices* const desktop;
    const ShowWindow showWindow;
    NoticeRules rules;
};

} // namespace tallywick

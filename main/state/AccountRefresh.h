#pragma once

#include "codex/AccountService.h"
#include "history/HistoryStore.h"
#include "state/AccountConnection.h"
#include "state/DueTime.h"
#include "state/StateContext.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tallywick {

/// The readings of the account: when they are read, what becomes of them when one fails or when
/// another account may be signed in, and how fresh those on show are.
///
/// A success is followed by the next refresh after a minute, a failure after a wait that grows with
/// each; a refresh that ought to have ended long ago is given up. Publishes the readings, the
/// history, `status`, `tokenStatus`, `accountBusy` and `displayedHelperPath`. Main thread only.
class AccountRefresh {
  public:
    /// Called when a reading is on show, with what is kept of its account.
    using OnReading = std::function<void(const AccountSnapshot&, std::span<const UsageSample>)>;

    /// Context and connection must outlive it.
    AccountRefresh(StateContext& given, AccountConnection& way, HistoryStore readings,
                   OnReading applied);

    /// Part of each tick: lets grow old what has grown old, and gives up what is overdue.
    void keepUp();
    /// Begins a refresh if one is due and nothing stands in its way.
    void refreshIfDue();
    /// A refresh that runs is not disturbed: another follows it.
    void makeDue();
    /// The next refresh comes after so many seconds.
    void postpone(double seconds);

    /// Drops the helper and everything under way, and reads the account anew, unless the user is
    /// signing in or a helper is being checked.
    void reload();
    /// To be called when another account may be signed in: its readings are dropped, and read anew
    /// by a new helper, at once or after a wait.
    void identityDidChange();
    /// To be called when a sign-in begins, which reads the account anew by itself.
    void signInDidBegin() { reloadPendingSince.reset(); }
    /// The file of the readings is about to be taken away, or has been: nothing is written there.
    void leaveHistory() { store.leaveFile(); }
    /// Drops the helper and the readings that it gave, and begins anew with another.
    void startOver();

  private:
    void settle();
    void refreshWith(const HelperDiscovery::Outcome& found);
    AccountService::RefreshCallbacks callbacks();
    void apply(const AccountService::SnapshotOutcome& result);
    void applySnapshot(const AccountSnapshot& snapshot);
    void applyFailure(ConnectionIssue issue);
    void applyActivity(const std::optional<std::string>& accountHash,
                       const AccountService::ActivityOutcome& result);
    void finish();
    void endOverdue();
    void markStale();
    void endNoteOfReading();
    void reloadLater();
    void showHistory(std::vector<UsageSample> samples);
    void showWeek();
    bool liesAhead() const;
    void clearAccountData();
    void forgetReading();

    StateContext& context;
    const UtilityFields& fields;
    AccountConnection& connection;
    HistoryStore store;
    const OnReading onReading;
    std::vector<UsageSample> history; ///< of the current account
    bool hidesReadings = false;       ///< which lie ahead of the clock

    std::int64_t failures = 0; ///< consecutive failed refreshes
    DueTime nextRefresh;
    DueTime nextActivity;          ///< from then on a refresh asks for token activity too
    bool refreshRequested = false; ///< a refresh was asked for while one was in flight
    bool snapshotAwaited = false;  ///< the refresh in flight has not yet told how the account is
    DueTime deadline;              ///< of the refresh in flight

    std::optional<std::string> knownAccountHash; ///< of the last successful refresh
    std::optional<Timestamp> lastGood;           ///< when the reading on show was observed

    /// Reloads after changes of identity since a reading has last outlived the wait for the next.
    std::int64_t automaticReloads = 0;
    /// When the identity changed for which the next refresh begins with a new helper.
    std::optional<Timestamp> reloadPendingSince;
};

} // namespace tallywick

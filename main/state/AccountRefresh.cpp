#include "state/AccountRefresh.h"

#include "codex/ConnectionIssue.h"
#include "state/StatusTexts.h"

#include <QFile>

#include <utility>

namespace tallywick {

namespace {

// Seconds.
constexpr double refreshInterval = 60;
constexpr double activityInterval = 300;
constexpr double discoveryInterval = 60;

/// A path for display.
std::string displayText(const std::filesystem::path& path) {
    return QFile::decodeName(path.c_str()).toStdString();
}

bool isIdentityIssue(ConnectionIssue issue) {
    return issue == ConnectionIssue::signedOut || issue == ConnectionIssue::authentication
           || issue == ConnectionIssue::externalSession
           || issue == ConnectionIssue::unsupportedAccount;
}

} // namespace

AccountRefresh::AccountRefresh(StateContext& given, AccountConnection& way, HistoryStore store)
    : context(given), fields(given.fields()), connection(way), history(std::move(store)) {
    connection.whenAbandoned([this] { settle(); });
}

// Refreshing

void AccountRefresh::keepUp() {
    history.prune(fields.now);
    endOverdue();
    markStale();
}

void AccountRefresh::makeDue() {
    if (fields.accountBusy)
        refreshRequested = true;
    failures = 0;
    nextRefresh.makeDue();
    nextActivity.makeDue();
}

void AccountRefresh::postpone(double seconds) { nextRefresh.set(context.clock(), seconds); }

void AccountRefresh::refreshIfDue() {
    if (!nextRefresh.isDue(fields.now) || fields.accountBusy || fields.validatingHelper
        || fields.loginPending || fields.showingInstaller)
        return;
    context.change().accountBusy = true;
    snapshotAwaited = true;
    deadline.set(fields.now, AccountService::longestRefresh);
    connection.findHelpers([this](const HelperDiscovery::Outcome& found) { refreshWith(found); });
}

void AccountRefresh::refreshWith(const HelperDiscovery::Outcome& found) {
    if (!found) {
        apply(tl::make_unexpected(found.error()));
        finish();
        return;
    }
    if (found->empty()) {
        context.change().displayedHelperPath = HelperPathText::notFound;
        context.change().status = StatusText::codexNotFound;
        nextRefresh.set(fields.now, discoveryInterval);
        endNoteOfReading();
        finish();
        return;
    }
    context.change().displayedHelperPath = displayText(found->front());
    deadline.set(context.clock(), AccountService::longestRefresh);
    if (std::exchange(reloadPendingSince, std::nullopt))
        connection.closeHelper();
    constexpr std::int64_t token = 0; // the connection knows what still counts
    connection.service().refresh(*found, token, nextActivity.isDue(fields.now), callbacks());
}

AccountService::RefreshCallbacks AccountRefresh::callbacks() {
    return {
        .onSnapshot = connection.forAnswer(
            [this](std::int64_t, const AccountService::SnapshotOutcome& result) { apply(result); }),
        .onActivity =
            connection.forAnswer([this](std::int64_t, const std::optional<std::string>& accountHash,
                                        const AccountService::ActivityOutcome& result) {
                applyActivity(accountHash, result);
            }),
        .onFinished = connection.forAnswer([this](std::int64_t) { finish(); })};
}

void AccountRefresh::apply(const AccountService::SnapshotOutcome& result) {
    snapshotAwaited = false;
    if (result && reloadPendingSince && result->observedAt < *reloadPendingSince)
        return; // perhaps of the account before the change
    endNoteOfReading();
    if (result)
        applySnapshot(*result);
    else
        applyFailure(result.error());
}

void AccountRefresh::applySnapshot(const AccountSnapshot& snapshot) {
    if (snapshot.accountHash != knownAccountHash) {
        context.change().tokens = {};
        context.change().history.clear();
    }
    if (lastGood) // the reading before has lasted until this one
        automaticReloads = 0;
    reloadPendingSince.reset(); // whatever changed is in this reading
    knownAccountHash = snapshot.accountHash;
    lastGood = snapshot.observedAt;
    failures = 0;
    nextRefresh.set(snapshot.observedAt, refreshInterval);

    context.advanceClock(); // a reading that lies ahead of the clock on show would not be seen
    context.change().quota = snapshot.quota;
    if (snapshot.quota && snapshot.accountHash)
        context.change().history =
            history.record(*snapshot.quota, *snapshot.accountHash, snapshot.observedAt);
    else
        context.change().history.clear();
    context.change().status = snapshot.quota ? liveStatus(snapshot.observedAt)
                                             : std::string(StatusText::withoutAllowance);
}

void AccountRefresh::applyFailure(ConnectionIssue issue) {
    ++failures;
    nextRefresh.set(fields.now, retryDelay(failures));
    if (isIdentityIssue(issue) || !knownAccountHash)
        clearAccountData();
    context.change().status =
        fields.quota && lastGood ? staleStatus(*lastGood, issue) : std::string(sentence(issue));
}

void AccountRefresh::applyActivity(const std::optional<std::string>& accountHash,
                                   const AccountService::ActivityOutcome& result) {
    if (accountHash != knownAccountHash || reloadPendingSince)
        return;
    nextActivity.set(context.clock(), activityInterval);
    if (result)
        context.change().tokens = *result;
    const bool hasLifetime = fields.tokens.lifetime.has_value();
    context.change().tokenStatus =
        result ? tokenStatusReceived(hasLifetime) : tokenStatusFailed(hasLifetime);
}

void AccountRefresh::finish() {
    context.change().accountBusy = false;
    if (std::exchange(refreshRequested, false)) {
        nextRefresh.makeDue();
        context.tick();
    }
}

// Starting over

void AccountRefresh::reload() {
    if (context.isPaused() || fields.loginPending || fields.validatingHelper)
        return;
    connection.reset();
    reloadPendingSince.reset();
    context.change().status = fields.quota ? StatusText::retrying : StatusText::reloading;
    context.refreshNow();
}

void AccountRefresh::identityDidChange() {
    clearAccountData();
    if (fields.loginPending)
        return;
    if (automaticReloads > 0 || fields.validatingHelper) {
        reloadLater();
        return;
    }
    ++automaticReloads;
    reload();
}

/// A helper can report a changed identity at every start. Reloading at once each time would start
/// one helper after the other and never let a refresh come to its end.
void AccountRefresh::reloadLater() {
    forgetReading();
    nextActivity.makeDue(); // it was forgotten too
    if (std::exchange(reloadPendingSince, context.clock()))
        return;
    if (automaticReloads > 0)
        nextRefresh.set(fields.now, retryDelay(automaticReloads));
    else
        nextRefresh.makeDue();
    ++automaticReloads;
}

void AccountRefresh::clearAccountData() {
    UtilityFields& shown = context.change();
    shown.quota.reset();
    shown.tokens = {};
    shown.tokenStatus = TokenStatusText::notYetReported;
    shown.history.clear();
    knownAccountHash.reset();
    lastGood.reset();
}

/// Clears the account data, and the status line where it speaks of them.
void AccountRefresh::forgetReading() {
    clearAccountData();
    if (describesReading(fields.status))
        context.change().status = StatusText::reloading;
}

void AccountRefresh::startOver() {
    connection.reset();
    forgetReading();
    reloadPendingSince.reset();
    failures = 0;
    nextRefresh.makeDue();
    nextActivity.makeDue();
    context.tick();
}

/// No answer is awaited any more.
void AccountRefresh::settle() {
    context.change().accountBusy = false;
    if (std::exchange(refreshRequested, false))
        nextRefresh.makeDue();
}

/// Gives up on answers that should have come long ago.
void AccountRefresh::endOverdue() {
    if (!fields.accountBusy || !deadline.hasPassed(fields.now))
        return;
    if (snapshotAwaited)
        apply(tl::make_unexpected(ConnectionIssue::timeout));
    connection.reset();
}

void AccountRefresh::markStale() {
    if (isLive(fields.status) && lastGood && isStale(*lastGood, fields.now))
        context.change().status = staleStatus(*lastGood);
}

/// The reading that a completed sign-in has promised has come, or has failed.
void AccountRefresh::endNoteOfReading() {
    if (fields.settingsStatus == SettingsText::signInCompleted)
        context.change().settingsStatus.clear();
}

} // namespace tallywick

#include "state/AccountRefresh.h"

#include "codex/ConnectionIssue.h"

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

AccountRefresh::AccountRefresh(StateContext& given, AccountConnection& way, HistoryStore readings,
                               OnReading applied)
    : context(given), fields(given.fields()), connection(way), store(std::move(readings)),
      onReading(std::move(applied)) {
    connection.whenAbandoned([this] { settle(); });
}

// Refreshing

void AccountRefresh::keepUp() {
    store.prune(fields.now);
    endOverdue();
    markStale();
    if (hidesReadings || liesAhead())
        showWeek();
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
        context.change().status = Status::Kind::codexNotFound;
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
    if (snapshot.accountHash != knownAccountHash)
        context.change().tokens = {};
    if (lastGood) // the reading before has lasted until this one
        automaticReloads = 0;
    reloadPendingSince.reset(); // whatever changed is in this reading
    knownAccountHash = snapshot.accountHash;
    lastGood = snapshot.observedAt;
    failures = 0;
    nextRefresh.set(snapshot.observedAt, refreshInterval);

    context.advanceClock(); // a reading that lies ahead of the clock on show would not be seen
    context.change().quota = snapshot.quota;
    showHistory(snapshot.quota && snapshot.accountHash
                    ? store.record(*snapshot.quota, *snapshot.accountHash, snapshot.observedAt)
                    : std::vector<UsageSample>());
    context.change().pace =
        snapshot.quota ? paceOf(*snapshot.quota, snapshot.observedAt, history) : std::nullopt;
    context.change().status =
        snapshot.quota ? Status::live(snapshot.observedAt) : Status(Status::Kind::withoutAllowance);
    onReading(snapshot, history);
}

void AccountRefresh::applyFailure(ConnectionIssue issue) {
    ++failures;
    nextRefresh.set(fields.now, retryDelay(failures));
    if (isIdentityIssue(issue) || !knownAccountHash)
        clearAccountData();
    context.change().status =
        fields.quota && lastGood ? Status::stale(*lastGood, issue) : Status::failed(issue);
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
    context.change().status = fields.quota ? Status::Kind::retrying : Status::Kind::reloading;
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

/// The graph is made here, and not each time that it is drawn.
void AccountRefresh::showHistory(std::vector<UsageSample> samples) {
    history = std::move(samples);
    context.change().historyCount = history.size();
    showWeek();
}

/// A clock that was set back hides readings until it comes to them again.
void AccountRefresh::showWeek() {
    hidesReadings = liesAhead();
    context.change().week = HistoryGraphModel::graph(
        history, fields.now, fields.quota ? std::optional(fields.quota->reset) : std::nullopt);
}

bool AccountRefresh::liesAhead() const {
    return !history.empty() && history.back().timestamp > fields.now;
}

void AccountRefresh::clearAccountData() {
    UtilityFields& shown = context.change();
    shown.quota.reset();
    shown.pace.reset();
    shown.tokens = {};
    shown.tokenStatus = TokenStatusText::notYetReported;
    showHistory({});
    knownAccountHash.reset();
    lastGood.reset();
}

/// Clears the account data, and the status line where it speaks of them.
void AccountRefresh::forgetReading() {
    clearAccountData();
    if (fields.status.describesReading())
        context.change().status = Status::Kind::reloading;
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
    if (lastGood && fields.status.isOverdue(fields.now))
        context.change().status = Status::stale(*lastGood);
}

/// The reading that a completed sign-in has promised has come, or has failed.
void AccountRefresh::endNoteOfReading() {
    if (fields.settingsStatus == SettingsText::signInCompleted)
        context.change().settingsStatus.clear();
}

} // namespace tallywick

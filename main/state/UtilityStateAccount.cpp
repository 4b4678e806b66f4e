#include "state/UtilityState.h"

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

// The service

AccountService& UtilityState::account() {
    if (!accountService) {
        AccountService::Environment environment;
        environment.launcher = launcher;
        environment.clock = context.clock;
        environment.homeFolder = services.homeFolder;
        environment.onDetails = context.onMainThread([this](const ConnectionDetails& details) {
            if (!context.isStopped())
                context.change().connectionDetails = details;
        });
        environment.onIdentityChange = context.onMainThread([this] { identityDidChange(); });
        accountService = AccountService::create(std::move(environment));
    }
    return *accountService;
}

void UtilityState::resetAccountService() {
    if (accountService)
        accountService->reset();
}

void UtilityState::dropAccountService() {
    if (const auto dropped = std::exchange(accountService, nullptr))
        dropped->stop();
}

// Refreshing

void UtilityState::refreshAccountIfDue() {
    if (published.accountBusy || published.validatingHelper || published.loginPending
        || published.showingInstaller || !nextAccountRefresh.isDue(published.now))
        return;
    context.change().accountBusy = true;
    snapshotAwaited = true;
    refreshDeadline.set(published.now, AccountService::longestRefresh);
    findHelpers(helperQuery(),
                [this](const HelperDiscovery::Outcome& found) { refreshWith(found); });
}

void UtilityState::refreshWith(const HelperDiscovery::Outcome& found) {
    if (!found) {
        applyAccountResult(generation, tl::make_unexpected(found.error()));
        finishAccountRefresh(generation);
        return;
    }
    if (found->empty()) {
        context.change().displayedHelperPath = HelperPathText::notFound;
        context.change().status = StatusText::codexNotFound;
        nextAccountRefresh.set(published.now, discoveryInterval);
        endNoteOfReading();
        finishAccountRefresh(generation);
        return;
    }
    context.change().displayedHelperPath = displayText(found->front());
    refreshDeadline.set(context.clock(), AccountService::longestRefresh);
    if (std::exchange(reloadPendingSince, std::nullopt))
        resetAccountService();
    account().refresh(*found, generation, nextTokenRefresh.isDue(published.now),
                      refreshCallbacks());
}

AccountService::RefreshCallbacks UtilityState::refreshCallbacks() {
    return {.onSnapshot = context.onMainThread(
                [this](std::int64_t token, const AccountService::SnapshotOutcome& result) {
                    applyAccountResult(token, result);
                }),
            .onActivity = context.onMainThread(
                [this](std::int64_t token, const std::optional<std::string>& accountHash,
                       const AccountService::ActivityOutcome& result) {
                    applyActivityResult(token, accountHash, result);
                }),
            .onFinished =
                context.onMainThread([this](std::int64_t token) { finishAccountRefresh(token); })};
}

void UtilityState::applyAccountResult(std::int64_t token,
                                      const AccountService::SnapshotOutcome& result) {
    if (token != generation || context.isPaused())
        return;
    snapshotAwaited = false;
    if (result && reloadPendingSince && result->observedAt < *reloadPendingSince)
        return; // perhaps of the account before the change
    endNoteOfReading();
    if (result)
        applySnapshot(*result);
    else
        applyAccountFailure(result.error());
}

void UtilityState::applySnapshot(const AccountSnapshot& snapshot) {
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
    nextAccountRefresh.set(snapshot.observedAt, refreshInterval);

    context.advanceClock(); // a reading that lies ahead of the clock on show would not be seen
    context.change().quota = snapshot.quota;
    if (snapshot.quota && snapshot.accountHash)
        context.change().history = services.historyStore.record(
            *snapshot.quota, *snapshot.accountHash, snapshot.observedAt);
    else
        context.change().history.clear();
    context.change().status = snapshot.quota ? liveStatus(snapshot.observedAt)
                                             : std::string(StatusText::withoutAllowance);
}

void UtilityState::applyAccountFailure(ConnectionIssue issue) {
    ++failures;
    nextAccountRefresh.set(published.now, retryDelay(failures));
    if (isIdentityIssue(issue) || !knownAccountHash)
        clearAccountData();
    context.change().status =
        published.quota && lastGood ? staleStatus(*lastGood, issue) : std::string(sentence(issue));
}

void UtilityState::applyActivityResult(std::int64_t token,
                                       const std::optional<std::string>& accountHash,
                                       const AccountService::ActivityOutcome& result) {
    if (token != generation || context.isPaused() || accountHash != knownAccountHash
        || reloadPendingSince)
        return;
    nextTokenRefresh.set(context.clock(), activityInterval);
    if (result)
        context.change().tokens = *result;
    const bool hasLifetime = published.tokens.lifetime.has_value();
    context.change().tokenStatus =
        result ? tokenStatusReceived(hasLifetime) : tokenStatusFailed(hasLifetime);
}

void UtilityState::finishAccountRefresh(std::int64_t token) {
    if (token != generation || context.isStopped())
        return;
    context.change().accountBusy = false;
    if (std::exchange(refreshRequested, false)) {
        nextAccountRefresh.makeDue();
        tick();
    }
}

// Starting over

void UtilityState::reloadConnection() {
    if (context.isPaused() || published.loginPending || published.validatingHelper)
        return;
    abandonAccountWork();
    resetAccountService();
    reloadPendingSince.reset();
    context.change().status = published.quota ? StatusText::retrying : StatusText::reloading;
    refreshNow();
}

void UtilityState::identityDidChange() {
    if (context.isPaused())
        return;
    clearAccountData();
    if (published.loginPending)
        return;
    if (automaticReloads > 0 || published.validatingHelper) {
        reloadLater();
        return;
    }
    ++automaticReloads;
    reloadConnection();
}

/// A helper can report a changed identity at every start. Reloading at once each time would start
/// one helper after the other and never let a refresh come to its end.
void UtilityState::reloadLater() {
    forgetReading();
    nextTokenRefresh.makeDue(); // it was forgotten too
    if (std::exchange(reloadPendingSince, context.clock()))
        return;
    if (automaticReloads > 0)
        nextAccountRefresh.set(published.now, retryDelay(automaticReloads));
    else
        nextAccountRefresh.makeDue();
    ++automaticReloads;
}

void UtilityState::clearAccountData() {
    UtilityFields& fields = context.change();
    fields.quota.reset();
    fields.tokens = {};
    fields.tokenStatus = TokenStatusText::notYetReported;
    fields.history.clear();
    knownAccountHash.reset();
    lastGood.reset();
}

/// Clears the account data, and the status line where it speaks of them.
void UtilityState::forgetReading() {
    clearAccountData();
    if (describesReading(published.status))
        context.change().status = StatusText::reloading;
}

/// Whatever the account service was asked for is given up: no answer to it is awaited any more, and
/// none counts.
void UtilityState::abandonAccountWork() {
    ++generation;
    context.change().accountBusy = false;
    if (std::exchange(refreshRequested, false))
        nextAccountRefresh.makeDue();
    if (published.validatingHelper) {
        context.change().validatingHelper = false;
        context.change().settingsStatus = SettingsText::helperRefused;
    }
}

/// Gives up on answers that should have come long ago.
void UtilityState::endOverdueWork() {
    const bool refreshOverdue = published.accountBusy && refreshDeadline.hasPassed(published.now);
    if (refreshOverdue && snapshotAwaited)
        applyAccountResult(generation, tl::make_unexpected(ConnectionIssue::timeout));
    if (refreshOverdue
        || (published.validatingHelper && validationDeadline.hasPassed(published.now))) {
        abandonAccountWork();
        resetAccountService();
    }
}

} // namespace tallywick

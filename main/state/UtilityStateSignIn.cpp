#include "codex/AccountAnswers.h"
#include "state/UtilityState.h"

namespace tallywick {

namespace {

// Seconds.
constexpr double signInWindow = 600;
constexpr double delayAfterCancel = 15;

} // namespace

void UtilityState::startSignIn() {
    if (stopped || accountActionsBusy(published))
        return;
    ++generation;
    reloadPendingSince.reset(); // a sign-in reads the account anew by itself
    loginDeadline.emplace().set(services.clock(), signInWindow);
    change().loginPending = true;
    change().status = StatusText::preparingSignIn;
    change().settingsStatus = SettingsText::preparingSignIn;
    findHelpers(helperQuery(),
                [this](const HelperDiscovery::Outcome& found) { signInWith(found); });
}

void UtilityState::signInWith(const HelperDiscovery::Outcome& found) {
    const std::int64_t token = generation;
    if (!found) {
        signInDidStart(token, tl::make_unexpected(found.error()));
        return;
    }
    account().startLogin(
        *found, onMainThread([this, token](const AccountService::LinkOutcome& result) {
            signInDidStart(token, result);
        }),
        onMainThread([this, token](bool success) { signInDidEnd(token, success); }));
}

void UtilityState::signInDidStart(std::int64_t token, const AccountService::LinkOutcome& result) {
    if (token != generation || stopped || !published.loginPending)
        return;
    if (!result) {
        endSignIn();
        change().status = sentence(result.error());
        change().settingsStatus = sentence(result.error());
        return;
    }
    const auto link = signInLink(*result);
    if (!link) {
        cancelSignIn();
        return;
    }
    change().status = StatusText::waitingForSignIn;
    change().settingsStatus = SettingsText::waitingForSignIn;
    if (!services.workspace.openAddress(*link)) {
        cancelSignIn();
        change().settingsStatus = SettingsText::browserFailed;
    }
}

void UtilityState::signInDidEnd(std::int64_t token, bool success) {
    if (token != generation || stopped)
        return;
    endSignIn();
    change().settingsStatus = success ? SettingsText::signInCompleted : SettingsText::signInFailed;
    refreshNow();
}

/// The reading that a completed sign-in has promised has come, or has failed.
void UtilityState::endNoteOfReading() {
    if (published.settingsStatus == SettingsText::signInCompleted)
        change().settingsStatus.clear();
}

void UtilityState::endSignIn() {
    change().loginPending = false;
    loginDeadline.reset();
}

void UtilityState::cancelSignIn() {
    if (!published.loginPending)
        return;
    abandonAccountWork();
    endSignIn();
    account().cancelLogin();
    change().status = StatusText::signInCancelled;
    change().settingsStatus = StatusText::signInCancelled;
    nextAccountRefresh.set(services.clock(), delayAfterCancel);
}

void UtilityState::endOverdueSignIn() {
    if (!loginDeadline || !loginDeadline->hasPassed(published.now))
        return;
    cancelSignIn();
    change().settingsStatus = SettingsText::signInTimedOut;
}

} // namespace tallywick

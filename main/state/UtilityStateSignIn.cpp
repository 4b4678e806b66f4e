#include "codex/AccountAnswers.h"
#include "state/UtilityState.h"

namespace tallywick {

namespace {

// Seconds.
constexpr double signInWindow = 600;
constexpr double delayAfterCancel = 15;

} // namespace

void UtilityState::startSignIn() {
    if (context.isStopped() || accountActionsBusy(published))
        return;
    ++generation;
    reloadPendingSince.reset(); // a sign-in reads the account anew by itself
    loginDeadline.emplace().set(context.clock(), signInWindow);
    context.change().loginPending = true;
    context.change().status = StatusText::preparingSignIn;
    context.change().settingsStatus = SettingsText::preparingSignIn;
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
        *found, context.onMainThread([this, token](const AccountService::LinkOutcome& result) {
            signInDidStart(token, result);
        }),
        context.onMainThread([this, token](bool success) { signInDidEnd(token, success); }));
}

void UtilityState::signInDidStart(std::int64_t token, const AccountService::LinkOutcome& result) {
    if (token != generation || context.isStopped() || !published.loginPending)
        return;
    if (!result) {
        endSignIn();
        context.change().status = sentence(result.error());
        context.change().settingsStatus = sentence(result.error());
        return;
    }
    const auto link = signInLink(*result);
    if (!link) {
        cancelSignIn();
        return;
    }
    context.change().status = StatusText::waitingForSignIn;
    context.change().settingsStatus = SettingsText::waitingForSignIn;
    if (!services.workspace.openAddress(*link)) {
        cancelSignIn();
        context.change().settingsStatus = SettingsText::browserFailed;
    }
}

void UtilityState::signInDidEnd(std::int64_t token, bool success) {
    if (token != generation || context.isStopped())
        return;
    endSignIn();
    context.change().settingsStatus =
        success ? SettingsText::signInCompleted : SettingsText::signInFailed;
    refreshNow();
}

/// The reading that a completed sign-in has promised has come, or has failed.
void UtilityState::endNoteOfReading() {
    if (published.settingsStatus == SettingsText::signInCompleted)
        context.change().settingsStatus.clear();
}

void UtilityState::endSignIn() {
    context.change().loginPending = false;
    loginDeadline.reset();
}

void UtilityState::cancelSignIn() {
    if (!published.loginPending)
        return;
    abandonAccountWork();
    endSignIn();
    account().cancelLogin();
    context.change().status = StatusText::signInCancelled;
    context.change().settingsStatus = StatusText::signInCancelled;
    nextAccountRefresh.set(context.clock(), delayAfterCancel);
}

void UtilityState::endOverdueSignIn() {
    if (!loginDeadline || !loginDeadline->hasPassed(published.now))
        return;
    cancelSignIn();
    context.change().settingsStatus = SettingsText::signInTimedOut;
}

} // namespace tallywick

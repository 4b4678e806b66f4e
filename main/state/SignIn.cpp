#include "state/SignIn.h"

#include "codex/AccountAnswers.h"
namespace tallywick {

namespace {

// Seconds.
constexpr double longestSignIn = 600;
constexpr double delayAfterCancel = 15;

} // namespace

void SignIn::start() {
    if (context.isStopped() || accountActionsBusy(fields))
        return;
    connection.abandonWork();
    refresh.signInDidBegin();
    deadline.emplace().set(context.clock(), longestSignIn);
    context.change().loginPending = true;
    context.change().status = Status::Kind::preparingSignIn;
    context.change().settingsStatus = SettingsText::preparingSignIn;
    connection.findHelpers([this](const HelperDiscovery::Outcome& found) { startWith(found); });
}

void SignIn::startWith(const HelperDiscovery::Outcome& found) {
    if (!found) {
        didStart(tl::make_unexpected(found.error()));
        return;
    }
    connection.service().startLogin(
        *found, connection.forAnswer([this](const AccountService::LinkOutcome& result) {
            didStart(result);
        }),
        connection.forAnswer([this](bool success) { didFinish(success); }));
}

void SignIn::didStart(const AccountService::LinkOutcome& result) {
    if (!fields.loginPending)
        return;
    if (!result) {
        end();
        context.change().status = Status::failed(result.error());
        context.change().settingsStatus = fields.status.text();
        return;
    }
    const auto link = signInLink(*result);
    if (!link) {
        cancel();
        return;
    }
    context.change().status = Status::Kind::waitingForSignIn;
    context.change().settingsStatus = SettingsText::waitingForSignIn;
    if (!workspace.openAddress(*link)) {
        cancel();
        context.change().settingsStatus = SettingsText::browserFailed;
    }
}

void SignIn::didFinish(bool success) {
    end();
    context.change().settingsStatus =
        success ? SettingsText::signInCompleted : SettingsText::signInFailed;
    context.refreshNow();
}

void SignIn::cancel() {
    if (!fields.loginPending)
        return;
    connection.abandonWork();
    end();
    connection.service().cancelLogin();
    context.change().status = Status::Kind::signInCancelled;
    context.change().settingsStatus = fields.status.text();
    refresh.postpone(delayAfterCancel);
}

void SignIn::endIfOverdue() {
    if (!deadline || !deadline->hasPassed(fields.now))
        return;
    cancel();
    context.change().settingsStatus = SettingsText::signInTimedOut;
}

void SignIn::end() {
    context.change().loginPending = false;
    deadline.reset();
}

} // namespace tallywick

#include "state/AccountConnection.h"

#include <utility>

namespace tallywick {

AccountConnection::AccountConnection(StateContext& given, KeptChoices& kept, Services tools,
                                     std::function<void()> identityDidChange)
    : context(given), choices(kept), services(std::move(tools)),
      identityChanged(std::move(identityDidChange)),
      launcher(std::make_shared<HelperLauncher>(services.transportFactory)) {}

void AccountConnection::findHelpers(FoundHandler then) {
    if (services.namedHelper)
        find({services.namedHelper, true}, std::move(then));
    else
        find({choices.helper(), false}, std::move(then));
}

void AccountConnection::findHelpersIn(const std::filesystem::path& chosen, FoundHandler then) {
    find({chosen, true}, std::move(then));
}

void AccountConnection::find(const HelperQuery& query, FoundHandler then) {
    services.helperDiscovery->find(query, forAnswer(std::move(then)));
}

void AccountConnection::prefer(const std::filesystem::path& helper) {
    choices.keepHelper(helper.native());
    services.namedHelper.reset();
}

void AccountConnection::preferNone() {
    choices.forgetHelper();
    services.namedHelper.reset();
}

AccountService& AccountConnection::service() {
    if (!account) {
        AccountService::Environment environment;
        environment.launcher = launcher;
        environment.clock = context.clock;
        environment.homeFolder = services.homeFolder;
        environment.recovery = recovery;
        environment.onDetails = context.onMainThread([this](const ConnectionDetails& details) {
            if (!context.isStopped())
                context.change().connectionDetails = details;
        });
        environment.onIdentityChange = context.onMainThread([this] {
            if (!context.isPaused())
                identityChanged();
        });
        account = AccountService::create(std::move(environment));
    }
    return *account;
}

void AccountConnection::abandonWork() {
    ++generation;
    for (const auto& settle : settlers)
        settle();
}

void AccountConnection::closeHelper() {
    if (account)
        account->reset();
}

void AccountConnection::reset() {
    abandonWork();
    closeHelper();
}

void AccountConnection::close() {
    abandonWork();
    if (const auto closed = std::exchange(account, nullptr))
        closed->stop();
}

} // namespace tallywick

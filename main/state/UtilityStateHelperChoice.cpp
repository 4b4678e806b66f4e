#include "state/UtilityState.h"

#include <QPointer>

#include <utility>

namespace tallywick {

HelperQuery UtilityState::helperQuery() const {
    if (services.namedHelper)
        return {services.namedHelper, true};
    return {choices.helper(), false};
}

void UtilityState::findHelpers(const HelperQuery& query,
                               std::function<void(const HelperDiscovery::Outcome&)> then) {
    services.helperDiscovery->find(
        query, context.onMainThread([this, token = generation, then = std::move(then)](
                                        const HelperDiscovery::Outcome& found) {
            if (token == generation && !context.isStopped() && !published.maintenance)
                then(found);
        }));
}

void UtilityState::chooseHelper() {
    if (context.isStopped() || accountActionsBusy(published) || !services.openPanel)
        return;
    const QPointer<UtilityState> self(this);
    const auto chosen = services.openPanel->chooseFile(
        "Select Codex or the ChatGPT app",
        "Select the native Codex helper or the app containing it. The helper must pass "
        "initialization before your saved selection changes.");
    // A refresh may have begun meanwhile: the check then comes after it.
    if (!self || !chosen || context.isStopped() || published.validatingHelper
        || published.loginPending || published.maintenance)
        return;
    context.change().validatingHelper = true;
    context.change().settingsStatus = SettingsText::checkingHelper;
    validationDeadline.set(context.clock(), AccountService::longestValidation);
    findHelpers({chosen, true},
                [this](const HelperDiscovery::Outcome& found) { validateHelper(found); });
}

/// A file that cannot be looked at is no helper that completes anything.
void UtilityState::validateHelper(const HelperDiscovery::Outcome& found) {
    if (!found || found->empty()) {
        context.change().validatingHelper = false;
        context.change().settingsStatus =
            found ? SettingsText::noHelperThere : SettingsText::helperRefused;
        return;
    }
    const std::filesystem::path& helper = found->front();
    account().validate(helper, context.onMainThread([this, token = generation, helper](bool valid) {
        helperWasValidated(token, helper, valid);
    }));
}

void UtilityState::helperWasValidated(std::int64_t token, const std::filesystem::path& helper,
                                      bool valid) {
    if (token != generation || context.isStopped())
        return;
    context.change().validatingHelper = false;
    if (!valid) {
        context.change().settingsStatus = SettingsText::helperRefused;
        return;
    }
    choices.keepHelper(helper.native());
    services.namedHelper.reset();
    reconnect();
    context.change().settingsStatus = SettingsText::helperSelected;
}

void UtilityState::useAutomaticDiscovery() {
    if (context.isStopped() || accountActionsBusy(published))
        return;
    choices.forgetHelper();
    services.namedHelper.reset();
    reconnect();
    context.change().settingsStatus.clear();
    findHelpers(helperQuery(), [this](const HelperDiscovery::Outcome& found) {
        context.change().settingsStatus = found && !found->empty()
                                              ? SettingsText::automaticDiscovery
                                              : SettingsText::notFoundAutomatically;
    });
}

/// Starts over with another helper.
void UtilityState::reconnect() {
    abandonAccountWork();
    resetAccountService();
    forgetReading();
    reloadPendingSince.reset();
    failures = 0;
    nextAccountRefresh.makeDue();
    nextTokenRefresh.makeDue();
    tick();
}

} // namespace tallywick

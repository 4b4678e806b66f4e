#include "state/UtilityState.h"

#include <QPointer>

#include <utility>

namespace tallywick {

namespace {

constexpr std::string_view helperKey = "codexPath";

} // namespace

HelperQuery UtilityState::helperQuery() const {
    if (services.namedHelper)
        return {services.namedHelper, true};
    return {services.preferences.stringValue(helperKey), false};
}

void UtilityState::findHelpers(const HelperQuery& query,
                               std::function<void(const HelperDiscovery::Outcome&)> then) {
    services.helperDiscovery->find(
        query, onMainThread([this, token = generation,
                             then = std::move(then)](const HelperDiscovery::Outcome& found) {
            if (token == generation && !stopped && !published.maintenance)
                then(found);
        }));
}

void UtilityState::chooseHelper() {
    if (stopped || accountActionsBusy(published) || !services.openPanel)
        return;
    const QPointer<UtilityState> self(this);
    const auto chosen = services.openPanel->chooseFile(
        "Select Codex or the ChatGPT app",
        "Select the native Codex helper or the app containing it. The helper must pass "
        "initialization before your saved selection changes.");
    // A refresh may have begun meanwhile: the check then comes after it.
    if (!self || !chosen || stopped || published.validatingHelper || published.loginPending
        || published.maintenance)
        return;
    change().validatingHelper = true;
    change().settingsStatus = SettingsText::checkingHelper;
    validationDeadline.set(services.clock(), AccountService::longestValidation);
    findHelpers({chosen, true},
                [this](const HelperDiscovery::Outcome& found) { validateHelper(found); });
}

/// A file that cannot be looked at is no helper that completes anything.
void UtilityState::validateHelper(const HelperDiscovery::Outcome& found) {
    if (!found || found->empty()) {
        change().validatingHelper = false;
        change().settingsStatus = found ? SettingsText::noHelperThere : SettingsText::helperRefused;
        return;
    }
    const std::filesystem::path& helper = found->front();
    account().validate(helper, onMainThread([this, token = generation, helper](bool valid) {
                           helperWasValidated(token, helper, valid);
                       }));
}

void UtilityState::helperWasValidated(std::int64_t token, const std::filesystem::path& helper,
                                      bool valid) {
    if (token != generation || stopped)
        return;
    change().validatingHelper = false;
    if (!valid) {
        change().settingsStatus = SettingsText::helperRefused;
        return;
    }
    services.preferences.setString(helperKey, helper.native());
    services.namedHelper.reset();
    reconnect();
    change().settingsStatus = SettingsText::helperSelected;
}

void UtilityState::useAutomaticDiscovery() {
    if (stopped || accountActionsBusy(published))
        return;
    services.preferences.remove(helperKey);
    services.namedHelper.reset();
    reconnect();
    change().settingsStatus.clear();
    findHelpers(helperQuery(), [this](const HelperDiscovery::Outcome& found) {
        change().settingsStatus = found && !found->empty() ? SettingsText::automaticDiscovery
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

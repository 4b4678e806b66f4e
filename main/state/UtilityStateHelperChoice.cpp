#include "state/UtilityState.h"

#include <QPointer>

namespace tallywick {

namespace {

constexpr std::string_view helperKey = "codexPath";

} // namespace

AccountService::Candidates UtilityState::helperCandidates() const {
    return services.findHelpers(services.preferences.stringValue(helperKey));
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
    if (const auto helper = services.resolveHelper(*chosen))
        validateHelper(*helper);
    else
        change().settingsStatus = SettingsText::noHelperThere;
}

void UtilityState::validateHelper(const std::filesystem::path& helper) {
    change().validatingHelper = true;
    change().settingsStatus = SettingsText::checkingHelper;
    validationDeadline.set(services.clock(), AccountService::longestValidation);
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
    reconnect();
    change().settingsStatus = SettingsText::helperSelected;
}

void UtilityState::useAutomaticDiscovery() {
    if (stopped || accountActionsBusy(published))
        return;
    services.preferences.remove(helperKey);
    reconnect();
    change().settingsStatus = helperCandidates().empty() ? SettingsText::notFoundAutomatically
                                                         : SettingsText::automaticDiscovery;
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

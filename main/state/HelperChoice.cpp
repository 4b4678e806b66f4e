#include "state/HelperChoice.h"

#include <optional>

namespace tallywick {

HelperChoice::HelperChoice(StateContext& given, AccountConnection& way, AccountRefresh& reader,
                           OpenPanel* panel)
    : context(given), fields(given.fields()), connection(way), refresh(reader), openPanel(panel) {
    connection.whenAbandoned([this] { settle(); });
}

void HelperChoice::choose() {
    if (context.isStopped() || accountActionsBusy(fields) || !openPanel)
        return;
    const std::weak_ptr<const bool> isThere = presence;
    const auto chosen = openPanel->chooseFile(
        "Select Codex or the ChatGPT app",
        "Select the native Codex helper or the app containing it. The helper must pass "
        "initialization before your saved selection changes.");
    // A refresh may have begun meanwhile: the check then comes after it.
    if (isThere.expired() || !chosen || context.isPaused() || fields.validatingHelper
        || fields.loginPending)
        return;
    check(*chosen);
}

void HelperChoice::check(const std::filesystem::path& chosen) {
    context.change().validatingHelper = true;
    context.change().settingsStatus = SettingsText::checkingHelper;
    deadline.set(context.clock(), AccountService::longestValidation);
    connection.findHelpersIn(chosen,
                             [this](const HelperDiscovery::Outcome& found) { validate(found); });
}

/// A file that cannot be looked at is no helper that completes anything.
void HelperChoice::validate(const HelperDiscovery::Outcome& found) {
    if (!found || found->empty()) {
        context.change().validatingHelper = false;
        context.change().settingsStatus =
            found ? SettingsText::noHelperThere : SettingsText::helperRefused;
        return;
    }
    const std::filesystem::path& helper = found->front();
    connection.service().validate(
        helper, connection.forAnswer([this, helper](bool valid) { wasValidated(helper, valid); }));
}

void HelperChoice::wasValidated(const std::filesystem::path& helper, bool valid) {
    context.change().validatingHelper = false;
    if (!valid) {
        context.change().settingsStatus = SettingsText::helperRefused;
        return;
    }
    connection.prefer(helper);
    refresh.startOver();
    context.change().settingsStatus = SettingsText::helperSelected;
}

void HelperChoice::useAutomaticDiscovery() {
    if (context.isStopped() || accountActionsBusy(fields))
        return;
    connection.preferNone();
    refresh.startOver();
    context.change().settingsStatus.clear();
    connection.findHelpers([this](const HelperDiscovery::Outcome& found) {
        context.change().settingsStatus = found && !found->empty()
                                              ? SettingsText::automaticDiscovery
                                              : SettingsText::notFoundAutomatically;
    });
}

/// No answer is awaited any more: the check counts as failed, and the previous choice stays.
void HelperChoice::settle() {
    if (!fields.validatingHelper)
        return;
    context.change().validatingHelper = false;
    context.change().settingsStatus = SettingsText::helperRefused;
}

void HelperChoice::endIfOverdue() {
    if (fields.validatingHelper && deadline.hasPassed(fields.now))
        connection.reset();
}

} // namespace tallywick

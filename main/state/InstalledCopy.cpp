#include "state/Installation.h"

#include "state/InstallationWork.h"

#include <utility>

// What is done with a copy that is installed: its alias, and its end.

namespace tallywick {

using AliasResult = InstallationSteps::AliasResult;

// The alias

void Installation::createDesktopAlias() {
    if (!mayBegin())
        return;
    working = true;
    makeAlias({steps->bundle(), false, [this](const AliasResult& made) {
                   if (made.finding == AliasResult::Finding::inTheWay)
                       working = false;
                   else
                       end(aliasText(made));
                   if (made.finding == AliasResult::Finding::created)
                       workspace.revealItem(made.alias);
               }});
}

void Installation::makeAlias(AliasOrder order) {
    auto task = [copy = order.copy, consent = order.hasConsent](const InstallationSteps& work) {
        return work.makeAlias(copy, consent);
    };
    run(std::move(task),
        [this, order = std::move(order)](const AliasResult& result) { madeAlias(order, result); });
}

/// What has the alias's name is looked at again once the user has agreed that it is replaced.
void Installation::madeAlias(AliasOrder order, const AliasResult& result) {
    if (result.finding != AliasResult::Finding::inTheWay)
        return order.then(result);
    const auto answer = ask({.message = "Replace the existing Desktop item?",
                             .information = "An item already exists at " + result.alias.string()
                                            + ". It will only be replaced if you confirm.",
                             .confirm = "Replace",
                             .checkBox = {}});
    if (!answer)
        return;
    if (!answer->confirmed)
        return order.then(result);
    order.hasConsent = true;
    makeAlias(std::move(order));
}

void Installation::revealDesktopAlias() {
    if (!mayBegin())
        return;
    working = true;
    run([](const InstallationSteps& work) { return work.aliasOfThisCopy(); },
        [this](const std::optional<std::filesystem::path>& alias) {
            if (!alias)
                return end(std::string(InstallationText::noVerifiedAlias));
            working = false;
            workspace.revealItem(*alias);
        });
}

// Uninstalling

void Installation::uninstall() {
    if (!alerts || context.isStopped() || fields.isManaged)
        return;
    if (fields.installing || fields.updates.busy) {
        context.change().settingsStatus = InstallationText::finishUpdateFirst;
        return;
    }
    if (working)
        return;
    working = true;
    run([](const InstallationSteps& work) { return work.isInstalled(); },
        [this](bool isInstalled) {
            if (isInstalled)
                confirmUninstalling();
            else
                end(std::string(InstallationText::notInstalled));
        });
}

void Installation::confirmUninstalling() {
    const auto answer =
        ask({.message = "Move Tallywick to the Trash?",
             .information = "The app and its Desktop shortcut will move to the Trash. Your saved "
                            "settings and history are kept unless you select the option below.",
             .confirm = "Move to Trash",
             .checkBox = "Also remove this utility’s settings and 14-day history"});
    if (!answer)
        return;
    if (!answer->confirmed)
        working = false;
    else if (fields.updates.busy)
        end(std::string(InstallationText::finishUpdateFirst));
    else
        uninstallNow(answer->checked);
}

void Installation::uninstallNow(bool withData) {
    owner.pause();
    context.change().installing = true;
    context.change().settingsStatus = InstallationText::uninstalling;
    run([withData](const InstallationSteps& work) { return work.uninstall(withData); },
        [this, withData](const InstallationSteps::Uninstalled& result) {
            uninstalled(withData, result);
        });
}

/// Where something was moved, the rest of this copy stays idle.
void Installation::uninstalled(bool withData, const InstallationSteps::Uninstalled& result) {
    using Outcome = InstallationSteps::Uninstalled::Outcome;
    switch (result.outcome) {
    case Outcome::notInstalled:
        return endMaintenance(std::string(InstallationText::notInstalled));
    case Outcome::copiesStillRun:
        return endMaintenance(std::string(InstallationText::copiesStillRun));
    case Outcome::movesFailed:
        return end(uninstallStopped(result.failure));
    case Outcome::dataMovesFailed:
        return end(dataNotRemoved(result.failure));
    case Outcome::done:
        if (withData && !owner.forget())
            return end(dataNotRemoved("Its preferences are still there."));
        return owner.quit();
    }
}

} // namespace tallywick

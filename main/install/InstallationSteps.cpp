#include "install/InstallationSteps.h"

#include "base/CanonicalPath.h"
#include "base/Product.h"
#include "install/DesktopAlias.h"
#include "install/InstallationRecovery.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

InstallationSteps::Copies InstallationSteps::systemCopies() {
    static constexpr std::chrono::milliseconds pause{100};
    return {.list = [] { return runningApplications({Product::bundleIdentifier}); },
            .pause = [] { std::this_thread::sleep_for(pause); }};
}

// Installing

/// In everybody's folder if this user may write there, else in the user's own.
fs::path InstallationSteps::destination() const {
    const auto& folders = tools.applicationsFolders;
    const auto chosen =
        std::find_if(folders.begin(), std::prev(folders.end()),
                     [&](const fs::path& folder) { return tools.files->isWritable(folder); });
    return *chosen / Product::applicationFolderName;
}

InstallationSteps::Survey InstallationSteps::surveyInstallation() const {
    using Finding = Survey::Finding;
    if (!AppInstallation::hasBundleIdentity(tools.bundle))
        return {Finding::notPackaged};
    if (AppInstallation::isInstalledLocation(tools.bundle, tools.applicationsFolders))
        return {Finding::alreadyInstalled};
    Survey survey{Finding::free, destination()};
    if (tools.files->exists(survey.destination))
        survey.finding = AppInstallation::hasBundleIdentity(survey.destination)
                             ? Finding::replacesCopy
                             : Finding::unrelated;
    survey.hasAlias = isAliasOf(tools.bundle) || isAliasOf(survey.destination);
    return survey;
}

InstallationSteps::Asked
InstallationSteps::askToQuit(const std::function<bool(const RunningApplication&)>& isMeant) const {
    std::vector<RunningApplication> asked;
    for (const RunningApplication& copy : tools.copies.list()) {
        if (copy.processId == QCoreApplication::applicationPid() || !isMeant(copy))
            continue;
        if (!tools.copies.askToQuit(copy))
            return std::nullopt;
        asked.push_back(copy);
    }
    return asked;
}

InstallationSteps::Asked InstallationSteps::askCopiesToQuit(const fs::path& ofBundle) const {
    return askToQuit([&](const RunningApplication& copy) {
        return standardisedPath(copy.bundle) == standardisedPath(ofBundle);
    });
}

bool InstallationSteps::haveQuit(const std::vector<RunningApplication>& asked) const {
    constexpr int pauses = 50;
    const auto oneRuns = [&] { return std::ranges::any_of(asked, tools.copies.isRunning); };
    for (int pause = 0; pause < pauses && !ended; ++pause) {
        if (!oneRuns())
            return true;
        tools.copies.pause();
    }
    return !oneRuns();
}

tl::expected<InstallationSteps::Installed, std::string>
InstallationSteps::install(const fs::path& destination,
                           const std::vector<RunningApplication>& asked) const {
    if (!haveQuit(asked) || ended)
        return tl::make_unexpected(std::string(message(InstallationFailure::runningCopy)));
    return AppInstallation::install(tools.bundle, destination, *tools.files, tools.verify);
}

std::optional<std::string> InstallationSteps::enterLauncher(const fs::path& copy) const {
    const auto entered = tools.enterLauncher(copy);
    return entered ? std::nullopt : std::optional(entered.error());
}

void InstallationSteps::discard(const std::vector<fs::path>& backups) const {
    for (const fs::path& backup : backups)
        static_cast<void>(tools.trash->move(backup)); // the next start tries again
}

std::vector<std::string> InstallationSteps::recover() const {
    std::vector<std::string> told;
    for (const fs::path& folder : tools.applicationsFolders) {
        const auto claim = ended ? nullptr : AppInstallation::claim(folder);
        if (claim)
            told.push_back(
                InstallationRecovery::recover(folder, tools.verify, *tools.files, *tools.trash));
    }
    return told;
}

// The alias

bool InstallationSteps::isAliasOf(const fs::path& bundle) const {
    const auto desktop = tools.desktop();
    return desktop && DesktopAlias::resolves(DesktopAlias::location(*desktop), bundle);
}

InstallationSteps::AliasResult InstallationSteps::makeAlias(const fs::path& copy,
                                                            bool hasConsent) const {
    using Finding = AliasResult::Finding;
    const auto desktop = tools.desktop();
    if (!desktop)
        return {Finding::noDesktop};
    const bool isInPlace = AppInstallation::isInstalledLocation(copy, tools.applicationsFolders)
                           || (tools.isManaged && copy == tools.bundle);
    if (!isInPlace || !tools.verify(copy))
        return {Finding::notInstalled};
    const fs::path alias = DesktopAlias::location(*desktop);
    if (!hasConsent && tools.files->exists(alias) && !DesktopAlias::resolves(alias, copy))
        return {Finding::inTheWay, alias};
    if (const auto created = DesktopAlias::create(alias, copy, *tools.trash); !created)
        return {Finding::failed, alias, created.error()};
    return {Finding::created, alias};
}

std::optional<fs::path> InstallationSteps::aliasOfThisCopy() const {
    return isAliasOf(tools.bundle) ? std::optional(DesktopAlias::location(*tools.desktop()))
                                   : std::nullopt;
}

// Uninstalling

bool InstallationSteps::isInstalled() const {
    return AppInstallation::isInstalledLocation(tools.bundle, tools.applicationsFolders)
           && AppInstallation::hasBundleIdentity(tools.bundle);
}

std::vector<fs::path> InstallationSteps::ownItems() const {
    std::vector<fs::path> items{tools.bundle};
    if (const auto alias = aliasOfThisCopy())
        items.push_back(*alias);
    return items;
}

InstallationSteps::Uninstalled InstallationSteps::uninstall(bool withData) const {
    using Outcome = Uninstalled::Outcome;
    if (!isInstalled())
        return {Outcome::notInstalled};
    // With the data gone, no copy at all may write them again.
    const Asked asked = withData ? askToQuit([](const RunningApplication&) { return true; })
                                 : askCopiesToQuit(tools.bundle);
    if (!asked || !haveQuit(*asked) || ended)
        return {Outcome::copiesStillRun};
    if (const auto moved = Uninstallation::moveToTrash(ownItems(), *tools.trash); !moved)
        return {Outcome::movesFailed, moved.error()};
    Uninstalled result;
    if (withData)
        if (const auto moved = Uninstallation::removeUtilityData(tools.dataFolders, *tools.trash);
            !moved)
            result = {Outcome::dataMovesFailed, moved.error()};
    tools.leaveLauncher(tools.bundle);
    return result;
}

} // namespace tallywick

#include "UtilityApp/SystemServices.h"

#include "base/WorkThreads.h"
#include "codex/CodexBridge.h"
#include "codex/CodexLocator.h"
#include "install/AppInstallation.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/bundle/CodeSignature.h"
#include "platform/files/FileAccess.h"
#include "platform/files/StandardFolders.h"
#include "platform/process/ChildProcess.h"
#include "state/SettingsTexts.h"

#include <QDeadlineTimer>

#include <chrono>
#include <cstdio>

namespace tallywick {

namespace {

/// Says what keeps the program from keeping its files, on standard error and in the result, which
/// is empty when nothing does.
std::string checkStorage() {
    auto obstacle = storageObstacle(FilePreferences::defaultFile());
    if (!obstacle)
        obstacle = storageObstacle(HistoryStore::defaultFile());
    if (!obstacle)
        return {};
    std::string notice(storageNotice(*obstacle));
    static_cast<void>(std::fprintf(stderr, "%s\n", notice.c_str()));
    return notice;
}

} // namespace

bool waitForWorkToEnd() {
    const QDeadlineTimer end(std::chrono::seconds(3));
    const bool noThreads = waitForWorkThreads(std::chrono::milliseconds(end.remainingTime()));
    return waitForChildProcesses(std::chrono::milliseconds(end.remainingTime())) && noThreads;
}

SystemServices::SystemServices(const std::optional<std::filesystem::path>& theHelper)
    : namedHelper(theHelper), home(homeFolder()), power(systemPowerEvents()),
      network(systemNetworkPath()), workspace(desktopWorkspace()) {}

UtilityState::Services SystemServices::forState(bool showsInstaller, OpenPanel* openPanel,
                                                Alerts* alerts) {
    const RunningBundle bundle = inspectBundle(
        runningBundle(), AppInstallation::applicationsFolders(home), systemCodeSignature());
    return {
        .clock = systemNow,
        .homeFolder = home,
        .transportFactory = codexBridgeFactory(),
        .helperDiscovery = std::make_unique<HelperDiscovery>(systemHelperSearch()),
        .namedHelper = namedHelper,
        .historyStore = HistoryStore(),
        .storageNotice = checkStorage(),
        .hardwareService =
            std::make_unique<HardwareService>(systemHostStatistics(), systemMountedVolumes()),
        .bundle = bundle,
        .showsInstaller = showsInstaller,
        .preferences = preferences,
        .workspace = *workspace,
        .powerEvents = *power,
        .networkPath = *network,
        .openPanel = openPanel,
        .updates = forUpdates(bundle),
        .installation = forInstallation(bundle, alerts),
        .sessionBundle = bundle.version ? runningBundle() : std::filesystem::path(),
    };
}

Installation::Services SystemServices::forInstallation(const RunningBundle& bundle,
                                                       Alerts* alerts) const {
    const std::shared_ptr<const CodeSignature> signature = systemCodeSignature();
    return {
        .tools = {.bundle = runningBundle(),
                  .isManaged = bundle.isManaged,
                  .applicationsFolders = AppInstallation::applicationsFolders(home),
                  .verify =
                      [signature](const std::filesystem::path& folder) {
                          return AppInstallation::isVerifiedBundle(folder, *signature);
                      }},
        .alerts = alerts,
    };
}

UpdateController::Services SystemServices::forUpdates(const RunningBundle& bundle) {
    return {
        .clock = systemNow,
        .caches = cachesFolder(),
        .copy = {bundle.version, bundle.build},
        // This very program, even when it was replaced or moved meanwhile.
        .unpackTool = {"/proc/self/exe", {std::string(ArchiveExtraction::argument)}},
        .signature = releaseCodeSignature(),
        .workspace = *workspace,
    };
}

} // namespace tallywick

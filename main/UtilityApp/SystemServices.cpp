#include "UtilityApp/SystemServices.h"

#include "codex/CodexBridge.h"
#include "install/AppInstallation.h"
#include "platform/ApplicationBundle.h"
#include "platform/CodeSignature.h"
#include "platform/StandardFolders.h"

namespace tallywick {

SystemServices::SystemServices(const std::optional<std::filesystem::path>& namedHelper)
    : search(namedHelper), home(homeFolder()), power(systemPowerEvents()),
      network(systemNetworkPath()), workspace(desktopWorkspace()) {}

UtilityState::Services SystemServices::forState(bool showsInstaller, OpenPanel* openPanel) {
    return {
        .clock = systemNow,
        .homeFolder = home,
        .transportFactory = codexBridgeFactory(),
        .findHelpers = [this](const auto& preferred) { return search.candidates(preferred); },
        .resolveHelper = [this](const auto& chosen) { return search.resolve(chosen); },
        .historyStore = HistoryStore(),
        .hardwareService =
            std::make_unique<HardwareService>(systemHostStatistics(), systemMountedVolumes()),
        .bundle = inspectBundle(runningBundle(), AppInstallation::applicationsFolders(home),
                                systemCodeSignature()),
        .showsInstaller = showsInstaller,
        .preferences = preferences,
        .workspace = *workspace,
        .powerEvents = *power,
        .networkPath = *network,
        .openPanel = openPanel,
    };
}

} // namespace tallywick

#pragma once

#include "install/LaunchRule.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/desktop/Workspace.h"
#include "platform/files/Preferences.h"
#include "platform/machine/NetworkPath.h"
#include "platform/machine/PowerEvents.h"
#include "state/UtilityState.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace tallywick {

/// Waits, at most three seconds, until the work on an update and the helpers have ended, which were
/// told to: a child is killed after two. For the end of the program. False when something still
/// runs: it is to end at once then, since what runs may be a library that waits for an answer from
/// the network, and that makes an orderly end wait too.
bool waitForWorkToEnd();

/// The real services behind a `UtilityState`, which they must outlive. Main thread only.
class SystemServices {
  public:
    explicit SystemServices(const std::optional<std::filesystem::path>& namedHelper);

    /// For the one state. The dialogs, which may be null, must outlive it: without `openPanel` no
    /// helper is chosen, without `alerts` nothing is installed or removed. What keeps the program
    /// from keeping its files is said on standard error too.
    UtilityState::Services forState(bool showsInstaller, OpenPanel* openPanel,
                                    Alerts* alerts = nullptr);

  private:
    UpdateController::Services forUpdates(const RunningBundle& bundle);
    Installation::Services forInstallation(const RunningBundle& bundle, Alerts* alerts) const;

    const std::optional<std::filesystem::path> namedHelper;
    std::filesystem::path home;
    std::unique_ptr<PowerEvents> power;
    std::unique_ptr<NetworkPath> network;
    std::unique_ptr<Workspace> workspace;
    FilePreferences preferences;
};

} // namespace tallywick

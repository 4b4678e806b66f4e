#pragma once

#include "install/LaunchRule.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/desktop/Workspace.h"
#include "platform/files/Preferences.h"
#include "platform/machine/NetworkPath.h"
#include "platform/machine/PowerEvents.h"
#include "state/UtilityState.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

namespace tallywick {

/// How long the program waits at its end for its helpers, each of which is killed two seconds after
/// it was asked to end.
inline constexpr std::chrono::seconds helperEnd{3};

/// The real services behind a `UtilityState`, which they must outlive. Main thread only.
class SystemServices {
  public:
    explicit SystemServices(const std::optional<std::filesystem::path>& namedHelper);

    /// For the one state. `openPanel`, which may be null, must outlive it. What keeps the program
    /// from keeping its files is said on standard error too.
    UtilityState::Services forState(bool showsInstaller, OpenPanel* openPanel);

  private:
    const std::optional<std::filesystem::path> namedHelper;
    std::filesystem::path home;
    std::unique_ptr<PowerEvents> power;
    std::unique_ptr<NetworkPath> network;
    std::unique_ptr<Workspace> workspace;
    FilePreferences preferences;
};

} // namespace tallywick

#pragma once

#include "hardware/HardwareSnapshot.h"

#include <QAbstractButton>

#include <functional>

namespace tallywick {

/// What the user can have done by one press, in the window, its menus and its sheets.
enum class UtilityCommand {
    showUtility,
    toggleLayout,
    toggleTheme,
    refresh,
    quit,
    endResize, ///< the grip was released
    openSettings,
    closeSettings,
    openHomePage,
    openProductPage,
    mailProductPage,
    copyProductAddress,
    retryConnection,
    chooseHelper,
    useAutomaticDiscovery,
    startSignIn,
    cancelSignIn,
    copyConnectionDetails,
    checkForUpdates,
    downloadUpdate,
    cancelUpdate,
    showUpdate,
    openUpdate,
    tryWithoutInstalling,
    install,
    createDesktopAlias,
    revealDesktopAlias,
    revealThisCopy,
    uninstall,
};

/// What the user can do in the window and its sheets. Every function may be called from the event
/// loop's thread as long as the views live.
struct UtilityActions {
    std::function<void(UtilityCommand)> perform = [](UtilityCommand) {};
    std::function<void(bool)> setPinned = [](bool) {};
    /// Whether an installation makes the alias on the Desktop.
    std::function<void(bool)> setCreateShortcut = [](bool) {};
    std::function<void(bool)> setStartsWithSession = [](bool) {};
    /// Whether the desktop tells of the allowance.
    std::function<void(bool)> setTellsOfUsage = [](bool) {};
    std::function<void(const VolumeInfo&)> openVolume = [](const VolumeInfo&) {};

    /// The grip is being dragged: lets the desktop resize the window from its lower right corner
    /// until the mouse is released, where that is its business. Whether it is; nothing more is to
    /// be told of this drag then.
    std::function<bool()> startSystemResize = [] { return false; };
    /// The grip was dragged so far, in points, since it was grasped; to the right and down count
    /// positive. Ends with `UtilityCommand::endResize`.
    std::function<void(double, double)> resizeBy = [](double, double) {};
};

/// Has the command performed whenever the button is pressed, however that happens. The actions must
/// outlive the button.
inline void performOnClick(QAbstractButton* button, const UtilityActions& actions,
                           UtilityCommand command) {
    QObject::connect(button, &QAbstractButton::clicked, button,
                     [&actions, command] { actions.perform(command); });
}

} // namespace tallywick

#pragma once

#include "hardware/HardwareSnapshot.h"

#include <functional>

namespace tallywick {

/// What the user can do in the window and its sheets. Every function may be called from the event
/// loop's thread as long as the views live.
struct UtilityActions {
    using Action = std::function<void()>;

    Action toggleLayout = [] {};
    Action toggleTheme = [] {};
    Action refresh = [] {};
    Action openSettings = [] {};
    Action quit = [] {};
    Action openHomePage = [] {};
    Action openProductPage = [] {};
    Action mailProductPage = [] {};
    Action copyProductAddress = [] {};
    std::function<void(bool)> setPinned = [](bool) {};
    std::function<void(const VolumeInfo&)> openVolume = [](const VolumeInfo&) {};

    /// The grip was dragged so far, in points, since it was grasped; to the right and down count
    /// positive.
    std::function<void(double, double)> resizeBy = [](double, double) {};
    Action endResize = [] {};

    // The settings sheet

    Action closeSettings = [] {};
    Action retryConnection = [] {};
    Action chooseHelper = [] {};
    Action useAutomaticDiscovery = [] {};
    Action startSignIn = [] {};
    Action cancelSignIn = [] {};
    Action copyConnectionDetails = [] {};

    // The sheet of the first run

    Action tryWithoutInstalling = [] {};
};

} // namespace tallywick

#include "views/StateActions.h"

#include "state/UtilityState.h"

namespace tallywick {

UtilityActions actionsOf(UtilityState& state) {
    return {
        .toggleLayout = [&state] { state.toggleLayout(); },
        .toggleTheme = [&state] { state.toggleTheme(); },
        .refresh = [&state] { state.refreshNow(); },
        .openSettings = [&state] { state.setShowingSettings(true); },
        .quit = [&state] { state.quit(); },
        .openHomePage = [&state] { state.openHomePage(); },
        .openProductPage = [&state] { state.openProductPage(); },
        .mailProductPage = [&state] { state.shareByMail(); },
        .copyProductAddress = [&state] { state.copyProductAddress(); },
        .setPinned = [&state](bool pinned) { state.choosePinned(pinned); },
        .openVolume = [&state](const VolumeInfo& volume) { state.openVolume(volume); },
        .resizeBy = [&state](double dx, double dy) { state.resizeBy(dx, dy); },
        .endResize = [&state] { state.endResize(); },
        .closeSettings = [&state] { state.setShowingSettings(false); },
        .retryConnection = [&state] { state.reloadConnection(); },
        .chooseHelper = [&state] { state.chooseHelper(); },
        .useAutomaticDiscovery = [&state] { state.useAutomaticDiscovery(); },
        .startSignIn = [&state] { state.startSignIn(); },
        .cancelSignIn = [&state] { state.cancelSignIn(); },
        .copyConnectionDetails = [&state] { state.copyConnectionDetails(); },
        .tryWithoutInstalling = [&state] { state.setShowingInstaller(false); },
    };
}

} // namespace tallywick

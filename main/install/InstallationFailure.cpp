#include "install/InstallationFailure.h"

namespace tallywick {

std::string_view message(InstallationFailure failure) {
    switch (failure) {
    case InstallationFailure::invalidBundle:
        return "This app is incomplete. Download a fresh copy and try again.";
    case InstallationFailure::unrelatedDestination:
        return "An unrelated item already uses this name in Applications. It has not been changed.";
    case InstallationFailure::runningCopy:
        return "The installed utility is still running. Quit it, then try again.";
    case InstallationFailure::unsafeData:
        return "A utility data folder points to another location. It was left unchanged for "
               "safety.";
    }
    return {};
}

} // namespace tallywick

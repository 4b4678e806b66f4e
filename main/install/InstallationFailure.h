#pragma once

#include <string_view>

namespace tallywick {

/// Why an installation or an uninstallation stopped; thrown inside one.
enum class InstallationFailure {
    invalidBundle,        ///< the copy is incomplete, changed, or not this application
    unrelatedDestination, ///< something else bears the application's name; it was not touched
    runningCopy,          ///< the copy to be replaced still runs
    unsafeData            ///< a folder of the user's data is reached through a symbolic link
};

/// The sentence for the user.
std::string_view message(InstallationFailure failure);

} // namespace tallywick

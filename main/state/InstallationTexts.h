#pragma once

#include "install/InstallationSteps.h"

#include <string>
#include <string_view>

/// What the user is told of an installation, the alias and an uninstallation. All texts are UTF-8.
namespace tallywick {

namespace InstallationText {

inline constexpr std::string_view notPackaged = "Run the packaged app before installing it.";
inline constexpr std::string_view alreadyInstalled =
    "This copy is already installed in Applications.";
inline constexpr std::string_view cannotAskToQuit =
    "Quit the installed utility, then try Install and Open again.";
inline constexpr std::string_view installing = "Installing in Applications…";
inline constexpr std::string_view opening = "Installed. Opening the Applications copy…";

inline constexpr std::string_view noDesktop = "The Desktop folder is unavailable.";
inline constexpr std::string_view installFirst =
    "Install in Applications first. A portable or test copy cannot create the installed app’s "
    "alias.";
inline constexpr std::string_view aliasCreated = "Desktop alias created and verified.";
inline constexpr std::string_view noVerifiedAlias =
    "No verified Desktop alias exists for this installed copy.";

inline constexpr std::string_view finishUpdateFirst =
    "Finish or cancel the update first, then uninstall.";
inline constexpr std::string_view notInstalled =
    "This development copy is not installed in Applications.";
inline constexpr std::string_view uninstalling = "Uninstalling…";
inline constexpr std::string_view copiesStillRun =
    "Uninstall stopped: Another copy of the utility is still running. Quit it, then try again.";

inline constexpr std::string_view noThread =
    "The system is too busy for that. Try again in a moment.";

} // namespace InstallationText

/// Two texts, one behind the other; either may be empty.
std::string sentences(std::string one, const std::string& other);

// `failure` is a sentence.

std::string installFailed(const std::string& failure);
std::string couldNotOpenInstalled(const std::string& failure);
/// What came of an alias that was wanted. Empty when something else keeps its name.
std::string aliasText(const InstallationSteps::AliasResult& result);
std::string uninstallStopped(const std::string& failure);
std::string dataNotRemoved(const std::string& failure);

} // namespace tallywick

#pragma once

#include <filesystem>
#include <optional>

namespace tallywick {

// The folders that the user or the system has chosen for us. Each is given by its path without
// symbolic links, as far as it exists: on some desktops the home folder itself is reached through
// one. Values of the environment that are empty or relative count as not set.

/// The user's home folder: HOME, else the one that the system has on record for the user; the root
/// folder when there is none.
std::filesystem::path homeFolder();

/// Where applications keep what the user does not see: XDG_DATA_HOME, else ".local/share" in the
/// home folder. Absent when there is neither: a folder that all users share is no place for it. The
/// folder need not exist.
std::optional<std::filesystem::path> applicationSupportFolder();

/// Where applications keep their users' choices: XDG_CONFIG_HOME, else ".config" in the home
/// folder, by the same rules.
std::optional<std::filesystem::path> preferencesFolder();

/// Where applications keep what they can make anew: XDG_CACHE_HOME, else ".cache" in the home
/// folder, by the same rules.
std::optional<std::filesystem::path> cachesFolder();

/// The folder whose content the desktop shows: XDG_DESKTOP_DIR of "user-dirs.dirs" among the user's
/// preferences, else "Desktop" in the home folder. Absent when there is no such folder, or when the
/// user has named the home folder itself, which stands for none.
std::optional<std::filesystem::path> desktopFolder();

} // namespace tallywick

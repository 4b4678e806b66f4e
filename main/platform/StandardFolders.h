#pragma once

#include <filesystem>

namespace tallywick {

/// The user's home folder (HOME); the root folder when the environment names none.
std::filesystem::path homeFolder();

/// Where applications keep what the user does not see: XDG_DATA_HOME, else ".local/share" in the
/// home folder, else, when the environment names neither, the temporary folder. Values that are
/// empty or relative count as not set. The folder need not exist.
std::filesystem::path applicationSupportFolder();

/// Where applications keep their users' choices: XDG_CONFIG_HOME, else ".config" in the home
/// folder, else the temporary folder, by the same rules.
std::filesystem::path preferencesFolder();

} // namespace tallywick

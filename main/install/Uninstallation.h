#pragma once

#include "platform/files/Trash.h"

#include <tl/expected.hpp>

#include <filesystem>
#include <string>
#include <vector>

/// Takes the application and what it keeps off the machine: everything goes to the Trash. Any
/// thread; waits for the disk. A failure is a sentence, and leaves the rest where it was.
namespace tallywick::Uninstallation {

/// Moves the items to the Trash one after another, up to the first failure.
[[nodiscard]] tl::expected<void, std::string>
moveToTrash(const std::vector<std::filesystem::path>& items, Trash& trash);

/// The folders with what the utility keeps, its data and its caches, in this order. Its preferences
/// are not among them: `Preferences::removeAll`.
std::vector<std::filesystem::path> utilityDataFolders();

/// Moves those of the folders that exist to the Trash, in their order. One that is reached through
/// a symbolic link is left alone, with all that follow it: `unsafeData`. Nothing of this process
/// may write there any more.
[[nodiscard]] tl::expected<void, std::string>
removeUtilityData(const std::vector<std::filesystem::path>& folders, Trash& trash);

} // namespace tallywick::Uninstallation

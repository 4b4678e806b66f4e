#pragma once

#include "platform/linux/Descriptors.h"

#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>

namespace tallywick {

// Folders as open descriptors: what is done in one stays in it, whatever takes its name meanwhile.
// Each tells why it failed in errno.

/// Who may use a folder that is made: its owner alone, or whoever the process's mask lets.
enum class FolderAccess { ownerOnly, byMask };

/// Opens the folder, unless a symbolic link stands anywhere on its absolute path.
UniqueFd openFolder(const std::filesystem::path& path);

/// The same, in a folder that is open.
UniqueFd openFolder(const UniqueFd& parent, const std::string& name);

/// Makes a folder in another one, onto the disk, and opens it. One that is there is taken as it is,
/// unless it is a link.
UniqueFd makeFolder(const UniqueFd& parent, const std::string& name, FolderAccess access);

/// Opens the folder, and makes it and those above it that are missing.
UniqueFd openOrMakeFolder(const std::filesystem::path& path, FolderAccess access);

/// Waits until what was written is on the disk. Of a folder: its names. A file system that knows no
/// such thing for folders is asked no more.
bool syncFile(const UniqueFd& file);
bool syncFolder(const UniqueFd& folder);

/// Whether it belongs to the user who runs the program.
bool isOurs(const struct stat& status);

/// Calls `visit` with the name of each entry for as long as it answers true. Whether all of them
/// were visited.
bool visitEntries(const UniqueFd& folder, const std::function<bool(const std::string&)>& visit);

/// Gives an item another name on the same file system, each relative to a folder. Fails when
/// something has that name.
bool moveWithoutReplacing(int fromFolder, const std::filesystem::path& from, int toFolder,
                          const std::filesystem::path& to);

/// What errno says, for the end of a sentence.
std::string reasonForFailure();

/// The extended attribute with which what comes from elsewhere is marked.
inline constexpr const char* downloadMark = "user.com.apple.quarantine";

} // namespace tallywick

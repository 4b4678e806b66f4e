#pragma once

#include <filesystem>
#include <string_view>

/// The inner half of unpacking, for a process of its own: `ReleaseUnpacker` starts it, waits for it
/// and looks at what it has left.
namespace tallywick::ArchiveExtraction {

/// Whether the library that inflates archives is installed. Waits for the disk.
bool isPossible();

/// What the user is to install where it is not.
inline constexpr std::string_view missingLibrary =
    "libarchive (on Debian the package libarchive13)";

/// What the process writes to its standard output when all has been unpacked.
inline constexpr std::string_view doneText = "unpacked";

/// Unpacks the archive with this SHA-256 into the folder, which is empty, and tells so on the
/// standard output. The digest, the layout and the bytes that are unpacked are those of one reading
/// of the file. Each entry is written by its declared name, with a mode that we choose, as a new
/// file, and no further than its declared size. Limits the calling process for good: it is to end
/// after this. Returns the process's exit status.
int run(const std::filesystem::path& archive, std::string_view sha256,
        const std::filesystem::path& folder);

} // namespace tallywick::ArchiveExtraction

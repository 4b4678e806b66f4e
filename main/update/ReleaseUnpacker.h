#pragma once

#include "update/SafeUpdateArchive.h"
#include "update/UpdateFailure.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

/// A program that does nothing but `ArchiveExtraction::run` with its last three arguments.
struct UnpackTool {
    std::filesystem::path executable;
    std::vector<std::string> arguments = {}; ///< before those three
    int waits = 100; ///< of a tenth of a second each, until it is stopped; tests have fewer
};

/// An archive that has passed its checks.
struct CheckedArchive {
    std::filesystem::path file;
    std::string sha256;
    std::vector<SafeUpdateArchive::Entry> entries;
};

/// Unpacks the archive into the folder, which is empty, in a child process that is stopped after
/// ten seconds, or within a tenth of one when `flag` is cancelled. Then looks at what lies there:
/// exactly the declared files and the folders around them, of the declared sizes. `unsafeArchive`
/// when that is not so or when the tool has failed; `cancelled`; `disk` when the tool cannot be
/// started. What lies in the folder after a failure is not to be opened. Blocks its thread.
tl::expected<void, UpdateFailure> unpackRelease(const UnpackTool& tool,
                                                const CheckedArchive& archive,
                                                const std::filesystem::path& folder,
                                                const CancellationFlag& flag);

} // namespace tallywick

/// The inner half of unpacking, for a process of its own: `ReleaseUnpacker` starts it, waits for it
/// and looks at what it has left.
namespace tallywick::ArchiveExtraction {

/// The program's argument in front of the three of `run`, with which it starts itself as this
/// process. Nobody else has a use for it.
inline constexpr std::string_view argument = "--unpack-release";

/// Whether the library that inflates archives is installed. Waits for the disk.
bool isPossible();

/// What the user is to install where it is not.
inline constexpr std::string_view missingLibrary =
    "libarchive (on Debian the package libarchive13)";

/// Unpacks the archive with this SHA-256 into the folder, which is empty. The digest, the layout
/// and the bytes that are unpacked are those of one reading of the file. Each entry is written by
/// its declared name, with a mode that we choose, as a new file, and no further than its declared
/// size. Limits the calling process for good: it is to end after this. Returns the process's exit
/// status: 0 when all has been unpacked.
int run(const std::filesystem::path& archive, std::string_view sha256,
        const std::filesystem::path& folder);

} // namespace tallywick::ArchiveExtraction

#pragma once

#include "update/CancellationFlag.h"
#include "update/SafeUpdateArchive.h"

#include <filesystem>
#include <string>
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

#pragma once

#include "base/Time.h"
#include "platform/bundle/CodeSignature.h"
#include "update/BoundedDownload.h"
#include "update/ReleaseUnpacker.h"
#include "update/UpdateCache.h"
#include "update/UpdateFeed.h"

#include <filesystem>
#include <string>
#include <string_view>

/// What a downloaded release must pass before the user is offered to open it, and again before it
/// is shown. All of it reads files and waits for the disk; any thread.
namespace tallywick::ReleaseChecks {

/// Whether the file is the archive that the feed tells of: no link, a regular file of exactly its
/// size with its SHA-256. `corrupt` otherwise; `disk` when it breaks off while it is read. Never
/// holds more than a mebibyte of it.
tl::expected<void, UpdateFailure> verifyArchive(const UpdateManifest& manifest,
                                                const std::filesystem::path& archive);

/// Whether the folder is the application that the feed tells of: a complete copy with a valid
/// signature, no preview, of the feed's version, build and minimum system version, each character
/// for character, for every processor that the feed lists. `invalidBundle` otherwise.
tl::expected<void, UpdateFailure> validateApp(const UpdateManifest& manifest,
                                              const std::filesystem::path& application,
                                              const CodeSignature& signature);

/// Marks a file or folder as downloaded at `now`. `disk` when that fails; a file system that cannot
/// keep the mark is no failure.
tl::expected<void, UpdateFailure> markQuarantined(const std::filesystem::path& path, Timestamp now);

/// The text of the mark. `identifier` is that of this one download.
std::string quarantineMark(Timestamp now, std::string_view identifier);

} // namespace tallywick::ReleaseChecks

/// Makes of a downloaded archive an application that the user can open. Nothing is installed, and
/// nothing from the archive is opened or run. Blocks its thread for seconds: never the main one.
namespace tallywick::UpdatePreparation {

/// A release that has passed every check, in the cache.
struct Prepared {
    std::filesystem::path archive;
    std::filesystem::path application;
};

/// What the preparation works with.
struct Means {
    const UpdateCache& cache;
    const UnpackTool& tool;
    const CodeSignature& signature;
    Clock now = systemNow;
};

/// Prepares the archive that `download` has left in the cache, or ends with the download's own
/// failure: checks size and digest, then the layout, unpacks, checks the application, and marks
/// both as downloaded. `cancelled` at the first step at which `flag` is. After a failure the caller
/// clears the cache.
tl::expected<Prepared, UpdateFailure> prepare(const BoundedDownload::Result& download,
                                              const UpdateManifest& manifest, const Means& means,
                                              const CancellationFlag& flag);

/// Whether a prepared release still is what it was.
tl::expected<void, UpdateFailure> recheck(const Prepared& prepared, const UpdateManifest& manifest,
                                          const CodeSignature& signature,
                                          const CancellationFlag& flag);

} // namespace tallywick::UpdatePreparation

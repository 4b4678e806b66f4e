#pragma once

#include "base/Time.h"
#include "platform/bundle/CodeSignature.h"
#include "update/BoundedDownload.h"
#include "update/CancellationFlag.h"
#include "update/ReleaseUnpacker.h"
#include "update/UpdateCache.h"
#include "update/UpdateManifest.h"

#include <filesystem>

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

#pragma once

#include "update/RunningSystem.h"
#include "update/UpdateManifest.h"

#include <optional>
#include <string>

namespace tallywick {

/// What the running copy's information dictionary says of it. Absent is what is missing there, or
/// is no text.
struct RunningCopy {
    std::optional<std::string> version; ///< "CFBundleShortVersionString"; absent counts as 0.0.0
    std::optional<std::string> build;   ///< "CFBundleVersion"; absent counts as 0
};

/// What a published release is to the running copy.
enum class UpdateAssessment {
    available,     ///< newer, and it runs here
    upToDate,      ///< this very one, or an earlier build of it
    newerInstalled ///< older
};

/// Compares a release with the running copy. A newer one that does not run on `system` is
/// `incompatible`. `invalidFeed` is a running copy whose version cannot be read, and a release that
/// has the version of the running copy with a higher build, or while that build cannot be read: a
/// new build must carry a new version.
tl::expected<UpdateAssessment, UpdateFailure>
assess(const UpdateManifest& manifest, const RunningCopy& copy, const RunningSystem& system);

} // namespace tallywick

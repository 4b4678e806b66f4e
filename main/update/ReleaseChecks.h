#pragma once

#include "base/Time.h"
#include "platform/bundle/CodeSignature.h"
#include "update/UpdateManifest.h"

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

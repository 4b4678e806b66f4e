#pragma once

#include "base/Ed25519.h"

#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tallywick {

/// Why there is no release, for whoever makes it.
class ReleaseError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What is published.
struct Release {
    std::string archiveName; ///< at the end of its address
    std::string archive;
    std::string feed;
};

// All of these throw a `ReleaseError` when they cannot do what they say. Paths are absolute, and
// lead through no links.

/// Makes a private key, in a new file that nobody else may read.
SigningKey makeSigningKey(const std::filesystem::path& file);

/// Reads a private key. Its file must belong to the user, and nobody else may read it.
SigningKey readSigningKey(const std::filesystem::path& file);

/// Packs the application, which tells its version, its system and its processors itself. Equal
/// applications and notes make equal releases.
Release packRelease(const std::filesystem::path& bundle, const std::string& releaseNotes);

/// Reads what was published from a folder.
Release readRelease(const std::filesystem::path& folder);

/// Goes the road of a copy of the program that knows these keys of its maker and finds the release:
/// from the feed to the application that it unpacks. `unpacker` is the program that is run with
/// "unpack" before the arguments of `ArchiveExtraction::run`.
void checkRelease(const Release& release, std::span<const std::string_view> makerKeys,
                  const std::filesystem::path& unpacker);

/// Writes the release into a folder that it makes.
void writeRelease(const Release& release, const std::filesystem::path& folder);

} // namespace tallywick

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace tallywick {

class SigningKey;

// The seal of a bundle is the XML property list "Contents/_CodeSignature/CodeResources". Its
// dictionary "files" holds, for every other file of the bundle, the path below the bundle's folder
// and the SHA-256 as 64 lower-case hexadecimal digits. Permissions and times are not sealed, since
// they do not survive every archive and file system.
//
// The seal of a release is signed by its maker: "signature" is a signature with Ed25519 of what
// `signedText` makes of its list, as 128 lower-case hexadecimal digits.

inline constexpr const char* sealPath = "Contents/_CodeSignature/CodeResources";

/// What a bundle may hold at most. Ours holds four files, three folders deep, of a few megabytes;
/// the executable of a build with sanitizers may have some hundred.
inline constexpr std::size_t maximumSealedFiles = 256;
inline constexpr int maximumSealedDepth = 8;
inline constexpr std::uintmax_t maximumSealedBytes = std::uintmax_t{1} << 29;

/// The digest of every sealed file by its path.
using SealedFiles = std::map<std::string, std::string>;

/// What a seal of the bundle as it lies there would list. Absent when the bundle holds what cannot
/// be sealed (a symbolic link, an empty folder, anything else that is neither a regular file nor a
/// folder), cannot be read, or is beyond a limit. Never blocks on a FIFO or a device.
std::optional<SealedFiles> sealedFiles(const std::filesystem::path& bundle);

/// What a bundle's seal says: untrusted text, good for comparing and not for opening files.
struct Seal {
    SealedFiles files;
    std::optional<std::string> signature; ///< where there is one
};

/// Absent when there is no seal that can be read.
std::optional<Seal> readSeal(const std::filesystem::path& bundle);

/// What a signature of these files signs: that this is a seal, of which product, and of each file,
/// in the order of their paths' bytes, digest and path in the form of "sha256sum --zero". A zero
/// ends each of these, since no path can hold one.
std::string signedText(const SealedFiles& files);

/// Seals the bundle, replacing a seal that it has, and checks the result. Signs the seal when there
/// is a key. False when the bundle cannot be sealed or the seal cannot be written; it has no valid
/// seal then.
[[nodiscard]] bool sealBundle(const std::filesystem::path& bundle, const SigningKey* key = nullptr);

} // namespace tallywick

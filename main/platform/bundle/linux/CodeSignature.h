#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace tallywick {

// The seal of a bundle is the XML property list "Contents/_CodeSignature/CodeResources". Its
// dictionary "files" holds, for every other file of the bundle, the path below the bundle's folder
// and the SHA-256 as 64 lower-case hexadecimal digits. Permissions and times are not sealed, since
// they do not survive every archive and file system.

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

/// What the bundle's seal lists: untrusted text, good for comparing and not for opening files.
/// Absent when there is no seal that can be read.
std::optional<SealedFiles> readSeal(const std::filesystem::path& bundle);

/// Seals the bundle, replacing a seal that it has, and checks the result. False when the bundle
/// cannot be sealed or the seal cannot be written; it has no valid seal then.
[[nodiscard]] bool sealBundle(const std::filesystem::path& bundle);

} // namespace tallywick

#pragma once

#include <filesystem>

namespace tallywick {

/// The path made absolute, without "." and ".." parts, doubled or trailing slashes. Works on the
/// text alone: links are not followed.
std::filesystem::path standardisedPath(const std::filesystem::path& path);

/// Whether the standardised path reaches its place through no symbolic link at all: the test that
/// every path which is written, replaced or moved must pass. Parts that do not exist yet are no
/// links; a part that cannot be examined fails the test, since it may be one. The last part counts
/// too, a dangling link included.
bool isCanonicalPath(const std::filesystem::path& path);

} // namespace tallywick

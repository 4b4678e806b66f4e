#pragma once

#include <filesystem>

namespace tallywick {

/// Whether the path names, directly or through links, a regular file that this user may execute.
bool isExecutableFile(const std::filesystem::path& path);

} // namespace tallywick

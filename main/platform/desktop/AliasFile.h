#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <optional>
#include <string>

namespace tallywick {

// An alias is a file that opens an application when the user opens it, on the desktop or in the
// file browser. Here it is a desktop entry of its own. Any thread; waits for the disk.

/// The file name of an alias that is called `name`.
std::string aliasFileName(const std::string& name);

/// Writes an alias called `name` that opens the application, in a place where nothing is, and marks
/// it as far as this desktop wants that before it opens it. Else a sentence that tells why not.
[[nodiscard]] tl::expected<void, std::string> writeAlias(const std::filesystem::path& alias,
                                                         const std::string& name,
                                                         const std::filesystem::path& bundle);

/// The bundle whose application the alias opens, by the line that a file browser would run, neither
/// mounting nor starting anything. Absent when the file is no alias, a link, or opens anything
/// else.
std::optional<std::filesystem::path> resolveAlias(const std::filesystem::path& alias);

} // namespace tallywick

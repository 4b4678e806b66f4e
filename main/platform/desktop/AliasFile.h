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

/// What an alias called `name` holds that opens the application of the bundle; or a sentence that
/// tells why there can be none. Looks at the text of the path alone.
[[nodiscard]] tl::expected<std::string, std::string>
aliasContent(const std::string& name, const std::filesystem::path& bundle);

/// Writes an alias in a place where nothing is, onto the disk itself, and marks it as far as this
/// desktop wants that before it opens it; may wait some seconds for that. Else a sentence that
/// tells why not.
[[nodiscard]] tl::expected<void, std::string> writeAlias(const std::filesystem::path& alias,
                                                         const std::string& content);

/// The bundle whose application the alias opens, by the line that a file browser would run, neither
/// mounting nor starting anything. Absent when the file is no alias, is reached through a link, or
/// opens anything else.
std::optional<std::filesystem::path> resolveAlias(const std::filesystem::path& alias);

} // namespace tallywick

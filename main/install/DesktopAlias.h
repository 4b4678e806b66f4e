#pragma once

#include "platform/files/Trash.h"

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

/// The alias on the user's Desktop that opens the installed application. Any thread; waits for the
/// disk.
namespace tallywick::DesktopAlias {

/// Its place in a Desktop folder.
std::filesystem::path location(const std::filesystem::path& desktop);

/// Whether the file is an alias and opens the application of this bundle. The bundle need not
/// exist.
bool resolves(const std::filesystem::path& alias, const std::filesystem::path& bundle);

/// Writes the alias anew and makes sure that it opens the bundle. Whatever has its name goes to the
/// Trash first and stays there. Else a sentence that tells what went wrong.
[[nodiscard]] tl::expected<void, std::string>
create(const std::filesystem::path& alias, const std::filesystem::path& bundle, Trash& trash);

} // namespace tallywick::DesktopAlias

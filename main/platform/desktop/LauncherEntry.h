#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace tallywick {

// The desktop's launcher shows the applications that are registered with it, by an entry and an
// icon in the user's data folders. Any thread; waits for the disk.

/// Registers the application of a bundle under its identifier, in the place of another copy of it.
/// Else a sentence that tells why not: also when anything else is registered under that already,
/// which stays.
[[nodiscard]] tl::expected<void, std::string>
registerApplication(const std::filesystem::path& bundle);

/// Takes the application of the bundle out of the launcher again, if the entry opens that one. The
/// bundle need not exist any more. Folders stay.
void unregisterApplication(const std::filesystem::path& bundle);

} // namespace tallywick

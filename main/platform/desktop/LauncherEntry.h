#pragma once

#include <filesystem>
#include <string>
#include <tl/expected.hpp>

namespace tallywick {

// The desktop's launcher shows the applications that are registered with it, by an entry and an
// icon in the user's data folders. Any thread; waits for the disk.

/// Registers the application of a bundle under its identifier, in the place of whatever the user
/// had registered under that. Else a sentence that tells why not.
[[nodiscard]] tl::expected<void, std::string>
registerApplication(const std::filesystem::path& bundle);

/// Takes the application of the bundle out of the launcher again, if the entry opens that one.
void unregisterApplication(const std::filesystem::path& bundle);

} // namespace tallywick

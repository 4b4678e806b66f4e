#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <optional>
#include <string>

namespace tallywick {

// The desktop's launcher shows the applications that are registered with it, by an entry and an
// icon in the user's data folders. Any thread; waits for the disk.

/// The text of the entry for the application of the bundle, which need not exist yet: that of a
/// package has it too. Absent when no entry can hold the path.
std::optional<std::string> launcherEntry(const std::filesystem::path& bundle);

/// Registers the application of a bundle under its identifier, in the place of another copy of it;
/// and has the session start this one if it started the other. Else a sentence that tells why not:
/// also when anything else is registered under that already, which stays.
[[nodiscard]] tl::expected<void, std::string>
registerApplication(const std::filesystem::path& bundle);

/// Takes the application of the bundle out of the launcher again, if the entry opens that one, and
/// out of what the session starts. The bundle need not exist any more. Folders stay.
void unregisterApplication(const std::filesystem::path& bundle);

/// The argument by which the session starts the application: the window leaves the keyboard to
/// whoever has it.
inline constexpr const char* unfocusedArgument = "--unfocused";

/// Whether the session starts the application of the bundle, as the user's entry for that says. The
/// desktop may have switched it off there.
bool startsWithSession(const std::filesystem::path& bundle);

/// Has the session start the application of the bundle, in the place of another copy of it, or no
/// longer. Else a sentence that tells why not: also when anything else has the name of the entry,
/// which stays.
[[nodiscard]] tl::expected<void, std::string>
setStartsWithSession(const std::filesystem::path& bundle, bool starts);

} // namespace tallywick

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallywick {

// Desktop entries (Desktop Entry Specification 1.5) that open the application of a bundle.

/// Keys with what they say, each to be written once.
using EntryKeys = std::vector<std::pair<std::string, std::string>>;

/// What an entry hands the application, plain words, and what it offers besides opening it.
struct EntryCommands {
    std::string argument = {};
    struct Action {
        std::string name, argument;
    };
    std::vector<Action> actions = {}; ///< by different names of letters alone
};

/// The text of an entry that opens the application of the bundle, so that every desktop runs its
/// executable and no other whatever characters its path has. Absent when a value is not valid
/// UTF-8: no entry can hold it.
std::optional<std::string> writeDesktopEntry(const std::filesystem::path& bundle,
                                             const EntryKeys& keys,
                                             const EntryCommands& commands = {});

/// The bundle whose application an entry opens, standardised. Absent when it opens anything else,
/// hands it more than files, or can be read in more than one way.
std::optional<std::filesystem::path> bundleOpenedBy(std::string_view entry);

/// What an entry for the start of the session says.
struct SessionEntry {
    std::filesystem::path bundle; ///< whose application it opens, standardised
    bool isOn = true;             ///< it is neither hidden nor switched off by a desktop
};

/// Absent as above; but the entry may hand the application this argument.
std::optional<SessionEntry> readSessionEntry(std::string_view entry, std::string_view argument);

/// The text of a file that can be an entry. Absent when it is larger, is no regular file or is
/// reached through a symbolic link.
std::optional<std::string> readEntryFile(const std::filesystem::path& file);

/// `bundleOpenedBy` of a file; absent also when that is larger than an entry can be, is no regular
/// file or is reached through a symbolic link.
std::optional<std::filesystem::path> bundleOpenedByFile(const std::filesystem::path& file);

} // namespace tallywick

#pragma once

#include "platform/desktop/Activation.h"

#include <tl/expected.hpp>

#include <array>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tallywick {

/// What a picture of the window shows.
struct PictureOptions {
    enum class Sheet { none, settings, welcome };

    static constexpr double smallestScale = 0.5;
    static constexpr double largestScale = 4; ///< a picture of some 6 megapixels

    std::filesystem::path file; ///< where the PNG goes
    bool mini = false;          ///< the mini layout, else the full one
    bool light = false;         ///< the day theme, else the night theme
    double scale = 1;           ///< pixels to a point
    Sheet sheet = Sheet::none;  ///< a sheet instead of the window
    /// Made-up values by name, instead of a reading.
    std::optional<std::string> scenario = std::nullopt;

    bool operator==(const PictureOptions&) const = default;
};

/// What the program was asked to do.
struct CommandLine {
    enum class Task {
        window, ///< show the window
        report, ///< read the account once
        watch,  ///< keep reading it, without a window
        locate, ///< tell which helpers there are, and start none
        render, ///< draw the window into a file, without a display
        help,
        version,
        unpack ///< be the process in which an update is unpacked; started by the program alone
    };

    Task task = Task::window;
    bool portable = false;                       ///< of the window: do not offer to install
    bool unfocused = false;                      ///< of the window: leave the keyboard alone
    Wish wish = Wish::comeForward;               ///< of the window, one of `launcherActions`
    bool json = false;                           ///< of a report or a watch: for programs
    bool verbose = false;                        ///< of a report: tells where the helper lies
    std::optional<std::filesystem::path> helper; ///< the helper to use instead of a search
    PictureOptions picture;                      ///< of a rendering
    std::array<std::string, 3> unpacking = {};   ///< archive, its SHA-256, folder

    bool operator==(const CommandLine&) const = default;
};

/// The program's exit status when it was asked for what makes no sense, or cannot be done here. As
/// command-line programs use it.
inline constexpr int usageExitStatus = 2;

/// The arguments make no sense.
struct UsageError {
    std::string sentences; ///< why not, and where to read what would; on one line
};

/// Reads the program's arguments, its own name left out. Paths are taken byte for byte; of an
/// option given twice the last one counts; "--help" and "--version" count whatever stands behind.
tl::expected<CommandLine, UsageError> parseCommandLine(std::span<const char* const> arguments);

/// The tasks that an option goes with, a bit each.
using Tasks = unsigned;
constexpr Tasks bitOf(CommandLine::Task task) { return 1U << static_cast<unsigned>(task); }

/// An option of the program. The one list of them, `commandOptions`, is what the arguments are read
/// by, and what "--help", the manual and the completions of the shells are made of.
struct CommandOption {
    std::string_view name; ///< with its dashes
    std::string_view
        value;             ///< what follows: words to choose from, "day|night", or a name for it in
                           ///< capitals, PATH and FILE for what lies on a disk; empty for nothing
    std::string_view help; ///< what it does, without a full stop; empty for the program's own use
    std::optional<CommandLine::Task> task; ///< what it asks for, if that is all it says
    Tasks tasks;                           ///< what it goes with
    bool (*take)(CommandLine&, const std::string& value); ///< false when the value makes no sense
};
std::span<const CommandOption> commandOptions();

} // namespace tallywick

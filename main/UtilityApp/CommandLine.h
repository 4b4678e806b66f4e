#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace tallywick {

/// What the program was asked to do.
struct CommandLine {
    enum class Task {
        report, ///< read the account once
        watch,  ///< keep reading it, without a window
        locate  ///< tell which helpers there are, and start none
    };

    Task task = Task::report;
    bool json = false;                           ///< of a report: for programs
    bool verbose = false;                        ///< of a report: tells where the helper lies
    std::optional<std::filesystem::path> helper; ///< the helper to use instead of a search

    bool operator==(const CommandLine&) const = default;
};

/// The arguments make no sense; `usage` tells what would.
struct UsageError {
    std::string usage;
};

/// Reads the program's arguments, its own name left out. Paths are taken byte for byte; of an
/// option given twice the last one counts.
tl::expected<CommandLine, UsageError> parseCommandLine(std::span<const char* const> arguments);

} // namespace tallywick

#include "UtilityApp/CommandLine.h"

#include <string_view>

namespace tallywick {

tl::expected<CommandLine, UsageError> parseCommandLine(std::span<const char* const> arguments) {
    const auto usage = tl::make_unexpected(
        UsageError{"Usage: CorvaneUtility --report [--json] [--verbose] [--helper PATH]\n"
                   "       CorvaneUtility --watch [--helper PATH]"});
    CommandLine commandLine;
    bool report = false;
    bool watch = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--report")
            report = true;
        else if (argument == "--watch")
            watch = true;
        else if (argument == "--json")
            commandLine.json = true;
        else if (argument == "--verbose")
            commandLine.verbose = true;
        else if (argument == "--helper" && i + 1 < arguments.size() && *arguments[i + 1] != '\0')
            commandLine.helper = arguments[++i];
        else
            return usage;
    }
    if (report == watch || (watch && (commandLine.json || commandLine.verbose)))
        return usage;
    commandLine.task = watch ? CommandLine::Task::watch : CommandLine::Task::report;
    return commandLine;
}

} // namespace tallywick

#include "UtilityApp/CommandLine.h"

#include <string_view>

namespace tallywick {

tl::expected<CommandLine, UsageError> parseCommandLine(std::span<const char* const> arguments) {
    const auto usage = tl::make_unexpected(
        UsageError{"Usage: CorvaneUtility --report [--json] [--verbose] [--helper PATH]\n"
                   "       CorvaneUtility --watch [--helper PATH]\n"
                   "       CorvaneUtility --locate [--helper PATH]"});
    CommandLine commandLine;
    int tasks = 0;
    const auto take = [&](CommandLine::Task task) {
        commandLine.task = task;
        ++tasks;
    };
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--report")
            take(CommandLine::Task::report);
        else if (argument == "--watch")
            take(CommandLine::Task::watch);
        else if (argument == "--locate")
            take(CommandLine::Task::locate);
        else if (argument == "--json")
            commandLine.json = true;
        else if (argument == "--verbose")
            commandLine.verbose = true;
        else if (argument == "--helper" && i + 1 < arguments.size() && *arguments[i + 1] != '\0')
            commandLine.helper = arguments[++i];
        else
            return usage;
    }
    const bool isReport = commandLine.task == CommandLine::Task::report;
    if (tasks != 1 || (!isReport && (commandLine.json || commandLine.verbose)))
        return usage;
    return commandLine;
}

} // namespace tallywick

#include "UtilityApp/CommandLine.h"
#include "UtilityApp/ReportCommand.h"
#include "UtilityApp/WatchCommand.h"

#include <cstdio>

namespace {

/// As command-line programs use it for arguments that make no sense.
constexpr int usageExitStatus = 2;

} // namespace

int main(int argc, char** argv) {
    const auto commandLine = tallywick::parseCommandLine(
        std::span<const char* const>(argv, static_cast<std::size_t>(argc)).subspan(argc > 0));
    if (!commandLine) {
        static_cast<void>(std::fprintf(stderr, "%s\n", commandLine.error().usage.c_str()));
        return usageExitStatus;
    }
    return commandLine->task == tallywick::CommandLine::Task::watch
               ? tallywick::runWatch(*commandLine, argc, argv)
               : tallywick::runReport(*commandLine);
}

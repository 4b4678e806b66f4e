#include "UtilityApp/CommandHelp.h"
#include "UtilityApp/CommandLine.h"
#include "UtilityApp/RenderCommand.h"
#include "UtilityApp/ReportCommand.h"
#include "UtilityApp/WatchCommand.h"
#include "UtilityApp/WindowCommand.h"
#include "update/ReleaseUnpacker.h"

#include <cstdio>
#include <cstdlib>

namespace {

int print(const std::string& text) {
    const bool isPrinted = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    return isPrinted ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    using namespace tallywick;
    const auto commandLine = parseCommandLine(
        std::span<const char* const>(argv, static_cast<std::size_t>(argc)).subspan(argc > 0));
    if (!commandLine) {
        static_cast<void>(std::fprintf(stderr, "%s\n", commandLine.error().sentences.c_str()));
        return usageExitStatus;
    }
    switch (commandLine->task) {
    case CommandLine::Task::window:
        return runWindow(*commandLine, argc, argv);
    case CommandLine::Task::report:
        return runReport(*commandLine);
    case CommandLine::Task::watch:
        return runWatch(*commandLine, argc, argv);
    case CommandLine::Task::locate:
        return runLocate(*commandLine);
    case CommandLine::Task::render:
        return runRender(*commandLine, argc, argv);
    case CommandLine::Task::help:
        return print(helpText());
    case CommandLine::Task::version:
        return print(versionText());
    case CommandLine::Task::unpack:
        const auto& [archive, sha256, folder] = commandLine->unpacking;
        return ArchiveExtraction::run(archive, sha256, folder);
    }
}

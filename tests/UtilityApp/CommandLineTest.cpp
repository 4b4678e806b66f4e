#include "UtilityApp/CommandLine.h"

#include <gtest/gtest.h>

#include <vector>

namespace tallywick {
namespace {

using Task = CommandLine::Task;

CommandLine forTask(Task task, std::optional<std::filesystem::path> helper = std::nullopt) {
    CommandLine commandLine;
    commandLine.task = task;
    commandLine.helper = std::move(helper);
    return commandLine;
}

CommandLine forReport(bool json, bool verbose) {
    CommandLine commandLine = forTask(Task::report);
    commandLine.json = json;
    commandLine.verbose = verbose;
    return commandLine;
}

CommandLine forPicture(const PictureOptions& picture) {
    CommandLine commandLine = forTask(Task::render);
    commandLine.picture = picture;
    return commandLine;
}

CommandLine portable() {
    CommandLine commandLine;
    commandLine.portable = true;
    return commandLine;
}

TEST(CommandLine, IsReadOrAnsweredWithTheUsage) {
    using Sheet = PictureOptions::Sheet;
    struct Case {
        std::vector<const char*> arguments;
        std::optional<CommandLine> expected; // absent: the usage
    };
    const Case cases[] = {
        {{}, forTask(Task::window)},
        {{"--helper", "/a b"}, forTask(Task::window, "/a b")},
        {{"--portable"}, portable()},
        {{"--finish-install", "123"}, forTask(Task::window)},
        {{"--finish-install", "no number"}, forTask(Task::window)},
        {{"--report"}, forReport(false, false)},
        {{"--json", "--report"}, forReport(true, false)},
        {{"--report", "--verbose"}, forReport(false, true)},
        {{"--report", "--helper", "\xFF"}, forTask(Task::report, "\xFF")},
        {{"--report", "--helper", "--json"}, forTask(Task::report, "--json")},
        {{"--watch", "--helper", "1", "--helper", "2"}, forTask(Task::watch, "2")},
        {{"--locate", "--helper", "1"}, forTask(Task::locate, "1")},
        {{"--render", "/f"}, forPicture({.file = "/f"})},
        {{"--render", "/f", "--layout", "mini", "--theme", "day", "--scale", "1.5"},
         forPicture({.file = "/f", .mini = true, .light = true, .scale = 1.5})},
        {{"--layout", "full", "--theme", "night", "--scenario", "stale", "--render", "/f"},
         forPicture({.file = "/f", .scenario = "stale"})},
        {{"--render", "/f", "--sheet", "welcome"},
         forPicture({.file = "/f", .sheet = Sheet::welcome})},
        {{""}, {}},
        {{"report"}, {}},
        {{"--report", "more"}, {}},
        {{"--helper"}, {}},
        {{"--report", "--helper", ""}, {}},
        {{"--json"}, {}},
        {{"--report", "--watch"}, {}},
        {{"--watch", "--json"}, {}},
        {{"--locate", "--verbose"}, {}},
        {{"--report", "--portable"}, {}},
        {{"--finish-install"}, {}},
        {{"--render"}, {}},
        {{"--render", ""}, {}},
        {{"--scale", "2"}, {}},
        {{"--watch", "--theme", "day"}, {}},
        {{"--render", "/f", "--layout", "small"}, {}},
        {{"--render", "/f", "--sheet", "none"}, {}},
        {{"--render", "/f", "--scale", "0"}, {}},
        {{"--render", "/f", "--scale", "4.1"}, {}},
        {{"--render", "/f", "--scale", "nan"}, {}},
        {{"--render", "/f", "--scale", "2x"}, {}},
    };
    for (const Case& row : cases) {
        std::string trace;
        for (const char* argument : row.arguments)
            trace += std::string(argument) + " ";
        SCOPED_TRACE(trace);
        const auto commandLine = parseCommandLine(row.arguments);
        ASSERT_EQ(commandLine.has_value(), row.expected.has_value());
        if (row.expected)
            EXPECT_EQ(*commandLine, *row.expected);
        else
            EXPECT_EQ(commandLine.error().usage.rfind("Usage: ", 0), 0U);
    }
}

} // namespace
} // namespace tallywick

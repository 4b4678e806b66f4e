#include "UtilityApp/CommandLine.h"

#include <gtest/gtest.h>

#include <vector>

namespace tallywick {
namespace {

using Task = CommandLine::Task;

TEST(CommandLine, IsReadOrAnsweredWithTheUsage) {
    struct Case {
        std::vector<const char*> arguments;
        std::optional<CommandLine> expected; // absent: the usage
    };
    const Case cases[] = {
        {{"--report"}, CommandLine{Task::report, false, false, std::nullopt}},
        {{"--json", "--report"}, CommandLine{Task::report, true, false, std::nullopt}},
        {{"--report", "--verbose", "--helper", "/a b"},
         CommandLine{Task::report, false, true, "/a b"}},
        {{"--report", "--helper", "\xFF"}, CommandLine{Task::report, false, false, "\xFF"}},
        {{"--report", "--helper", "--json"}, CommandLine{Task::report, false, false, "--json"}},
        {{"--watch", "--helper", "1", "--helper", "2"},
         CommandLine{Task::watch, false, false, "2"}},
        {{"--locate", "--helper", "1"}, CommandLine{Task::locate, false, false, "1"}},
        {{}, {}},
        {{"report"}, {}},
        {{"--report", "more"}, {}},
        {{"--report", "--helper"}, {}},
        {{"--report", "--helper", ""}, {}},
        {{"--json"}, {}},
        {{"--report", "--watch"}, {}},
        {{"--watch", "--json"}, {}},
        {{"--locate", "--verbose"}, {}},
        {{""}, {}},
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

#include "UtilityApp/CommandLine.h"

#include <gmock/gmock.h>

#include <vector>

namespace tallywick {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::PrintToString;
using ::testing::StartsWith;
using Task = CommandLine::Task;
using Arguments = std::vector<const char*>;

CommandLine forTask(Task task, std::optional<std::filesystem::path> helper = std::nullopt) {
    return {.task = task, .helper = std::move(helper), .picture = {}};
}

TEST(CommandLine, IsRead) {
    const std::pair<Arguments, CommandLine> cases[] = {
        {{"--portable"}, {.portable = true, .helper = {}, .picture = {}}},
        {{"--finish-install", "no number"}, forTask(Task::window)},
        {{"--verbose", "--report", "--json"},
         {.task = Task::report, .json = true, .verbose = true, .helper = {}, .picture = {}}},
        {{"--report", "--helper", "\xFF"}, forTask(Task::report, "\xFF")},
        {{"--report", "--helper", "--json"}, forTask(Task::report, "--json")},
        {{"--watch", "--helper", "1", "--helper", "/a b"}, forTask(Task::watch, "/a b")},
        {{"--scale", "4", "--sheet", "welcome", "--theme", "night", "--render", "/f"},
         {.task = Task::render,
          .helper = {},
          .picture = {.file = "/f", .scale = 4, .sheet = PictureOptions::Sheet::welcome}}},
        {{"--unpack-release", "/a b", "12", "--json"},
         {.task = Task::unpack,
          .helper = {},
          .picture = {},
          .unpacking = {"/a b", "12", "--json"}}},
    };
    for (const auto& [arguments, expected] : cases)
        EXPECT_EQ(parseCommandLine(arguments), expected) << PrintToString(arguments);
}

TEST(CommandLine, IsAnsweredWithTheUsageWhenItMakesNoSense) {
    const Arguments cases[] = {{""},
                               {"report"},
                               {"--helper"},
                               {"--report", "--helper", ""},
                               {"--json"},
                               {"--report", "--watch"},
                               {"--locate", "--verbose"},
                               {"--unpack-release", "/a", "12"},
                               {"--report", "--unpack-release", "/a", "12", "/b"},
                               {"--report", "--portable"},
                               {"--finish-install"},
                               {"--render", ""},
                               {"--scale", "2"},
                               {"--render", "/f", "--layout", "small"},
                               {"--render", "/f", "--sheet", "none"},
                               {"--render", "/f", "--scale", "0.4"},
                               {"--render", "/f", "--scale", "4.1"},
                               {"--render", "/f", "--scale", "2x"}};
    for (const Arguments& arguments : cases) {
        const auto commandLine = parseCommandLine(arguments);
        ASSERT_FALSE(commandLine) << PrintToString(arguments);
        EXPECT_THAT(commandLine.error().usage, StartsWith("Usage: "));
        EXPECT_THAT(commandLine.error().usage, Not(HasSubstr("unpack")));
    }
}

} // namespace
} // namespace tallywick

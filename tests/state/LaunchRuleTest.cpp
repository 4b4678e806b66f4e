#include "state/LaunchRule.h"

#include <gtest/gtest.h>

#include <vector>

namespace tallywick::LaunchRule {
namespace {

TEST(LaunchRule, ReadsWhoHasInstalledThisCopy) {
    const struct {
        std::vector<std::string> arguments;
        std::optional<int> process;
    } cases[] = {
        {{"utility", "--finish-install", "4711"}, 4711},
        {{"utility", "--finish-install", "+4711"}, 4711},
        {{"utility", "--finish-install", "-2147483648"}, std::numeric_limits<int>::min()},
        {{"utility", "--finish-install", "2147483648"}, std::nullopt},
        {{"utility", "--finish-install", "+-1"}, std::nullopt},
        {{"utility", "--finish-install", "+"}, std::nullopt},
        {{"utility", "--finish-install", "1 "}, std::nullopt},
        {{"utility", "--finish-install"}, std::nullopt},
        {{"utility", "--finish-install", "4711", "1"}, std::nullopt},
        {{"utility", "--finish", "4711"}, std::nullopt},
        {{}, std::nullopt},
    };
    for (const auto& [arguments, process] : cases)
        EXPECT_EQ(finishInstallProcess(arguments), process) << ::testing::PrintToString(arguments);
}

TEST(LaunchRule, AnotherCopyTakesOverWhereTheRuleSaysSo) {
    const std::filesystem::path here = "/home/me/Applications/Corvane Tallywick.app";
    const std::filesystem::path there = "/media/stick/Corvane Tallywick.app";
    const struct {
        const char* description;
        std::vector<RunningApplication> running;
        bool isInstalled;
        std::optional<int> installedBy;
        std::optional<int> activated;
    } cases[] = {
        {"nothing runs, not even this", {}, true, {}, {}},
        {"only this one", {{20, here}}, true, {}, {}},
        {"one of the same place", {{10, here}, {20, here}}, false, {}, 10},
        {"by another spelling", {{10, here / "." / ""}, {20, here}}, false, {}, 10},
        {"one of elsewhere, but this is installed", {{10, there}, {20, here}}, true, {}, 10},
        {"the one that has installed this", {{10, there}, {20, here}}, true, 10, {}},
        {"that and another", {{10, there}, {15, there}, {20, here}}, true, 10, 15},
        {"the first counts", {{10, there}, {20, here}, {30, here}}, false, {}, {}},
    };
    for (const auto& row : cases) {
        const auto other =
            copyToActivate(row.running, {20, here, row.isInstalled, row.installedBy});
        EXPECT_EQ(other ? std::optional(other->processId) : std::nullopt, row.activated)
            << row.description;
    }
}

} // namespace
} // namespace tallywick::LaunchRule

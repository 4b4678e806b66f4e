#include "install/LaunchRule.h"

#include <gtest/gtest.h>

namespace tallywick::LaunchRule {
namespace {

TEST(LaunchRule, ReadsWhoHasInstalledThisCopy) {
    const auto process = [](std::vector<std::string> arguments) {
        return finishInstallProcess(arguments);
    };
    EXPECT_EQ(process({"utility", "--finish-install", "+4711"}), 4711);
    for (const char* number : {"2147483648", "+-1", "1 ", ""})
        EXPECT_EQ(process({"utility", "--finish-install", number}), std::nullopt) << number;
    EXPECT_EQ(process({"utility", "--finish-install"}), std::nullopt);
    EXPECT_EQ(process({"utility", "--finish", "4711"}), std::nullopt);
}

TEST(LaunchRule, AnotherCopyTakesOverWhereTheRuleSaysSo) {
    const std::filesystem::path here = "/home/me/Applications/Corvane Tallywick.app";
    const std::filesystem::path there = "/media/stick/Corvane Tallywick.app";
    const auto activated = [&](std::vector<RunningApplication> others, bool isInstalled,
                               std::optional<int> installedBy = {}) {
        others.push_back({20, here});
        const auto copy = copyToActivate(others, {20, here, isInstalled, installedBy});
        return copy ? copy->processId : 0;
    };
    EXPECT_EQ(activated({}, true), 0);
    EXPECT_EQ(activated({{10, here / "."}}, false), 10);
    EXPECT_EQ(activated({{10, there}}, true), 10);
    EXPECT_EQ(activated({{10, there}}, false), 0);
    EXPECT_EQ(activated({{10, there}}, true, 10), 0);
    EXPECT_EQ(activated({{10, there}, {15, there}}, true, 10), 15);
}

} // namespace
} // namespace tallywick::LaunchRule

// How the program with its window begins and ends.

#include "Desktop.h"
#include "ShownUtility.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>
#include <fstream>
#include <functional>

namespace tallywick {
namespace {

namespace fs = std::filesystem;

using testing::becomes;
using testing::Box;
using testing::Desktop;
using testing::outputOf;
using testing::RunningProgram;
using testing::ShownUtility;

bool isProcess(int id) { return fs::exists("/proc/" + std::to_string(id)); }

TEST(LifeCycle, EndsWithItsHelperHoweverItIsAskedTo) {
    const Desktop desktop;
    struct End {
        const char* name;
        bool withSheet;
        std::function<void(const ShownUtility&)> ask;
    };
    const auto closeWindow = [](const ShownUtility& utility) {
        EXPECT_EQ(outputOf("wmctrl -i -c " + utility.window()), "");
    };
    const auto pressCloseButton = [&](const ShownUtility& utility) {
        const Box content = utility.content();
        desktop.click(content.x + 500, content.y + 33);
    };
    const auto terminate = [](const ShownUtility& utility) {
        EXPECT_EQ(::kill(utility.processId(), SIGTERM), 0);
    };
    const End ends[] = {
        {"the window is closed", false, closeWindow},
        {"its own button is pressed", false, pressCloseButton},
        {"the system asks", false, terminate},
        {"the system asks while the settings are open", true, terminate},
    };
    for (const End& end : ends) {
        SCOPED_TRACE(end.name);
        ShownUtility utility;
        EXPECT_TRUE(becomes([&] { return utility.helpers().size(); }, 1U));
        const std::vector<int> helpers = utility.helpers();
        if (end.withSheet) {
            desktop.press("ctrl+comma");
            utility.waitForWindow("Utility Settings");
        }
        end.ask(utility);
        EXPECT_EQ(utility.exitStatus(), "0");
        for (const int helper : helpers)
            EXPECT_FALSE(isProcess(helper)) << helper;
    }
}

/// A copy of the application in that folder; its executable.
fs::path copyOfApplication(const fs::path& folder) {
    const fs::path copy = folder / "Corvane Tallywick.app";
    fs::create_directories(folder);
    fs::copy(APPLICATION_BUNDLE, copy, fs::copy_options::recursive);
    return copy / "Contents/MacOS/CorvaneUtility";
}

TEST(LifeCycle, BringsItsFirstInstanceForwardInsteadOfASecondOne) {
    const Desktop desktop;
    const fs::path executable = copyOfApplication(desktop.home() / "here");
    ShownUtility first(executable);
    const std::string helper = desktop.home() / "helper";
    fs::copy(MISBEHAVING_HELPER, helper);
    std::ofstream(helper + ".script") << "tell " + helper + ".started\n";
    const std::string second =
        "'" + executable.string() + "' --portable --helper " + helper + "; echo \"[exit $?]\"";

    // Behind another window, then minimised.
    const RunningProgram other("/usr/bin/xev", {"-geometry", "1200x600+10+10"});
    EXPECT_TRUE(testing::waitUntil(
        [&] { return outputOf("xdotool getactivewindow getwindowname") == "Event Tester"; }));
    EXPECT_EQ(outputOf(second), "[exit 0]");
    first.waitUntilActive(first.window());
    desktop.xdotool("windowminimize " + first.window());
    EXPECT_TRUE(becomes([&] { return first.isMinimised(); }, true));
    EXPECT_EQ(outputOf(second), "[exit 0]");
    EXPECT_TRUE(becomes([&] { return first.isMinimised(); }, false));
    first.waitUntilActive(first.window());
    EXPECT_FALSE(fs::exists(helper + ".started"));

    // A copy that lies elsewhere is another application's business.
    ShownUtility elsewhere(copyOfApplication(desktop.home() / "there"));
    EXPECT_NE(elsewhere.window(), first.window());
    EXPECT_EQ(elsewhere.close(), "0");
    EXPECT_EQ(first.close(), "0");
}

} // namespace
} // namespace tallywick

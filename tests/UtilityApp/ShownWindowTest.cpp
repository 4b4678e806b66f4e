// The window as its users meet it: on a display, under a window manager, with mouse and keyboard.

#include "Desktop.h"

#include <gmock/gmock.h>

#include <signal.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr auto npos = std::string::npos;
const std::string fullLimits = "520 by 225, 520 by 635";
const std::string miniLimits = "500 by 225, 520 by 635";

class ShownWindow : public ::testing::Test {
  protected:
    /// Presses the mouse on the grip of the window that stands there, and moves it along these
    /// distances from that place.
    void dragGrip(const Box& content, const std::vector<std::pair<int, int>>& distances) const {
        constexpr int inset = 4;
        const int x = content.x + content.width - inset;
        const int y = content.y + content.height - inset;
        moveMouse(x, y);
        desktop.xdotool("mousedown 1");
        for (const auto& [dx, dy] : distances)
            moveMouse(x + dx, y + dy);
    }
    void moveMouse(int x, int y) const {
        desktop.xdotool("mousemove " + std::to_string(x) + " " + std::to_string(y));
    }
    void move(const ShownUtility& utility, const Box& place) const {
        desktop.xdotool("windowmove " + utility.window() + " " + std::to_string(place.x) + " "
                        + std::to_string(place.y));
        EXPECT_TRUE(utility.stands(place));
    }

    Desktop desktop;
};

TEST_F(ShownWindow, OpensInTheMiddleAndObeysTheKeyboard) {
    const ShownUtility utility;
    const Box full = utility.content();
    const Box mini = full.sized(500, 225);
    EXPECT_EQ(full, full.sized(520, 635));
    const Box frame = utility.frame();
    EXPECT_NEAR(frame.x + frame.width / 2.0, Desktop::screenWidth / 2.0, 2);
    // By these the desktop finds its entry among the applications, and shows it in lists.
    EXPECT_THAT(utility.property("WM_CLASS"),
                HasSubstr(R"("com.corvane.tallywick", "com.corvane.tallywick")"));
    EXPECT_THAT(utility.property("_NET_WM_ICON"),
                AllOf(HasSubstr("Icon (16 x 16)"), HasSubstr("Icon (128 x 128)")));

    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility.stands(mini));
    EXPECT_TRUE(becomes([&] { return utility.limits(); }, miniLimits));
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility.stands(full));
    EXPECT_TRUE(becomes([&] { return utility.limits(); }, fullLimits));

    const auto settings = [&] { return utility.windowTitled("Utility Settings"); };
    desktop.press("ctrl+comma");
    const std::string sheet = utility.waitForWindow("Utility Settings");
    EXPECT_EQ(outputOf("xprop -id " + sheet + " WM_TRANSIENT_FOR | sed 's/.*# //'"),
              outputOf("printf 0x%x " + utility.window()));
    utility.waitUntilActive(sheet);
    desktop.press("Escape");
    EXPECT_TRUE(becomes(settings, std::string()));
    desktop.press("ctrl+comma");
    outputOf("wmctrl -i -c " + utility.waitForWindow("Utility Settings"));
    EXPECT_TRUE(becomes(settings, std::string()));
    utility.waitUntilActive(utility.window());

    // The second item of the window's menu, the one window without a frame, is "Mini Mode".
    moveMouse(full.x + 60, full.y + 470);
    desktop.xdotool("click 3");
    EXPECT_TRUE(waitUntil([] {
        return outputOf("xwininfo -root -children").find("\"Corvane Tallywick\": (") != npos;
    }));
    desktop.press("Down Down Return");
    EXPECT_TRUE(utility.stands(mini));
}

TEST_F(ShownWindow, FollowsItsGripAndSnapsWhenItIsReleased) {
    const ShownUtility utility;
    const Box full = utility.content();
    const Box mini = full.sized(500, 225);
    const Box wideMini = full.sized(520, 234); // 520 x 225 / 500
    const Box nearlyMini = full.sized(501, 225);
    const struct {
        const char* description;
        Box from;
        std::vector<std::pair<int, int>> drag;
        Box dragged;
        Box released;
    } cases[] = {
        {"a little up", full, {{0, -30}}, full.sized(520, 605), full},
        {"far up", full, {{0, -100}}, full.sized(520, 535), wideMini},
        {"to the side", wideMini, {{-20, 0}}, full.sized(500, 234), mini},
        // Neither of these does anything, or the next would begin elsewhere.
        {"a press alone", mini, {}, mini, mini},
        {"the smallest drag", mini, {{1, 0}}, mini, mini},
        {"a drag that has begun and comes back", mini, {{2, 0}, {1, 0}}, nearlyMini, nearlyMini},
        {"far down", nearlyMini, {{0, 400}}, full.sized(520, 625), full},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        dragGrip(row.from, row.drag);
        EXPECT_TRUE(utility.stands(row.dragged));
        desktop.xdotool("mouseup 1");
        EXPECT_TRUE(utility.stands(row.released));
    }
    // So it does when the window manager resizes it.
    desktop.xdotool("windowsize " + utility.window() + " 520 400");
    EXPECT_TRUE(utility.stands(wideMini));
    desktop.xdotool("windowsize " + utility.window() + " 505 620");
    EXPECT_TRUE(utility.stands(full));
}

TEST_F(ShownWindow, StaysAboveOthersWithoutGoingAwayAndComesBackAsItWasLeft) {
    std::optional<ShownUtility> utility(std::in_place);
    const auto isAbove = [&] { return utility->isAbove(); };
    const Box full{600, 30, 520, 635};
    const Box mini{100, 80, 500, 225};
    move(*utility, full);

    RunningProgram events("/usr/bin/xev",
                          {"-id", utility->window(), "-event", "structure", "-event", "property"});
    EXPECT_TRUE(waitUntil([&] { // it watches as soon as it sees what is done here
        outputOf("xprop -id " + utility->window() + " -f WATCHED 8s -set WATCHED yes");
        return events.output().find("WATCHED") != npos;
    }));
    for (const bool above : {true, false, true}) {
        desktop.click(full.x + 190, full.y + 581); // "Always on top"
        EXPECT_TRUE(becomes(isAbove, above));
    }
    EXPECT_EQ(utility->content(), full);
    utility.reset();
    EXPECT_THAT(events.waitFor("DestroyNotify"), Not(HasSubstr("\nMapNotify")));

    utility.emplace();
    EXPECT_TRUE(utility->stands(full));
    EXPECT_TRUE(becomes(isAbove, true));
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility->stands(full.sized(500, 225)));
    move(*utility, mini);
    desktop.click(mini.x + 338, mini.y + 28); // "Pin"
    EXPECT_TRUE(becomes(isAbove, false));
    for (int restart = 0; restart < 3; ++restart) { // it does not creep
        utility.emplace();
        EXPECT_TRUE(utility->stands(mini));
        EXPECT_FALSE(isAbove());
    }
}

TEST_F(ShownWindow, FollowsAScreenThatShrinks) {
    const ShownUtility utility;
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility.stands(utility.content().sized(500, 225)));
    move(utility, {700, 430, 500, 225});
    desktop.resizeScreen(800, 400);
    EXPECT_TRUE(becomes([&] { return utility.frame().isWithin(800, 400); }, true));
    // The settings are higher than that: they stand on the screen and scroll.
    desktop.press("ctrl+comma");
    const std::string settings = utility.waitForWindow("Utility Settings");
    EXPECT_TRUE(becomes([&] { return utility.content(settings).isWithin(800, 400); }, true));
    utility.waitUntilActive(settings);
    desktop.press("Escape");
    utility.waitUntilActive(utility.window());
    // There is no room for the full layout any more: what comes is the widest mini layout.
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(becomes([&] { return utility.content().height; }, 234));
    EXPECT_TRUE(utility.frame().isWithin(800, 400)) << utility.frame();
}

TEST_F(ShownWindow, FillsASizeThatTheDesktopImposesAndKeepsItsOwn) {
    const Box full{600, 30, 520, 635};
    std::optional<ShownUtility> utility(std::in_place);
    move(*utility, full);
    utility.emplace();
    EXPECT_TRUE(utility->stands(full));

    // So the window manager becomes one that heeds no limits.
    outputOf("xprop -id " + utility->window() + " -remove WM_NORMAL_HINTS");
    desktop.xdotool("windowsize " + utility->window() + " 900 600");
    EXPECT_TRUE(becomes([&] { return utility->content().width; }, 900));
    const Box tile = utility->content();
    // "Always on top" has shrunk with the layout, which stands in the middle.
    const double scale = tile.height / 635.0;
    const double left = tile.x + (tile.width - 520 * scale) / 2;
    desktop.click(static_cast<int>(left + 190 * scale), static_cast<int>(tile.y + 581 * scale));
    EXPECT_TRUE(becomes([&] { return utility->isAbove(); }, true));
    desktop.press("ctrl+shift+m"); // the other layout in the same size
    EXPECT_TRUE(utility->stands(tile));
    utility.emplace();
    EXPECT_TRUE(utility->stands(full));
}

TEST_F(ShownWindow, EndsWithItsHelperHoweverItIsAskedTo) {
    const auto terminate = [](const ShownUtility& utility) {
        EXPECT_EQ(::kill(utility.processId(), SIGTERM), 0);
    };
    const struct {
        const char* description;
        std::function<void(const ShownUtility&)> ask;
    } ends[] = {
        {"the window is closed", [](const ShownUtility& utility) { utility.close(); }},
        {"its own button is pressed",
         [&](const ShownUtility& utility) {
             const Box content = utility.content();
             desktop.click(content.x + 500, content.y + 33);
         }},
        {"the system asks", terminate},
        {"the system asks while the settings are open",
         [&](const ShownUtility& utility) {
             desktop.press("ctrl+comma");
             utility.waitForWindow("Utility Settings");
             terminate(utility);
         }},
    };
    for (const auto& end : ends) {
        SCOPED_TRACE(end.description);
        const ShownUtility utility;
        EXPECT_TRUE(waitUntil([&] { return utility.helper() > 0; }));
        const int helper = utility.helper();
        end.ask(utility);
        EXPECT_EQ(utility.exitStatus(), "0");
        EXPECT_FALSE(fs::exists("/proc/" + std::to_string(helper)));
    }
}

TEST_F(ShownWindow, BringsItsFirstInstanceForwardInsteadOfASecondOne) {
    const fs::path copy = desktop.home() / "Corvane Tallywick.app";
    fs::copy(APPLICATION_BUNDLE, copy, fs::copy_options::recursive);
    const std::string executable = copy / "Contents/MacOS/CorvaneUtility";
    RunningProgram watching(executable, {"--watch", "--helper", SAMPLE_HELPER});
    watching.waitFor("LIVE"); // it has no window to bring forward
    const ShownUtility first(executable);
    const std::string helper = desktop.home() / "helper";
    fs::copy(MISBEHAVING_HELPER, helper);
    std::ofstream(helper + ".script") << "tell " + helper + ".started\n";
    const auto startAnother = [&] {
        EXPECT_EQ(outputOf("'" + executable + "' --portable --helper " + helper), "");
    };

    // Behind another window, then minimised.
    const auto isMinimised = [&] { return first.property("WM_STATE").find("Iconic") != npos; };
    const RunningProgram other("/usr/bin/xev", {"-geometry", "1200x600+10+10"});
    EXPECT_TRUE(becomes([] { return outputOf("xdotool getactivewindow getwindowname"); },
                        std::string("Event Tester")));
    startAnother();
    first.waitUntilActive(first.window());
    desktop.xdotool("windowminimize " + first.window());
    EXPECT_TRUE(becomes(isMinimised, true));
    startAnother();
    EXPECT_TRUE(becomes(isMinimised, false));
    first.waitUntilActive(first.window());
    desktop.xdotool("set_desktop 1"); // where others are
    startAnother();
    first.waitUntilActive(first.window());
    EXPECT_EQ(outputOf("xdotool get_desktop"), "0");
    EXPECT_FALSE(fs::exists(helper + ".started"));
}

} // namespace
} // namespace tallywick::testing

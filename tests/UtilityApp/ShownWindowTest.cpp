// The window as its users meet it: on a display, under a window manager, with mouse and keyboard.

#include "Desktop.h"
#include "ShownUtility.h"
#include "WindowEvents.h"

#include <gtest/gtest.h>

#include <optional>

namespace tallywick {
namespace {

using testing::becomes;
using testing::Box;
using testing::Desktop;
using testing::outputOf;
using testing::ShownUtility;
using testing::WindowEvents;

const std::string fullLimits = "520 by 225, 520 by 635";
const std::string miniLimits = "500 by 225, 520 by 635";

std::string at(int x, int y) { return std::to_string(x) + " " + std::to_string(y); }

class ShownWindow : public ::testing::Test {
  protected:
    /// Takes the grip with the mouse, where the window stands now.
    void takeGrip(const Box& content) const {
        moveGrip(content, 0, 0);
        desktop.xdotool("mousedown 1");
    }
    /// Moves the mouse so far away from the place of the grip.
    void moveGrip(const Box& content, int dx, int dy) const {
        constexpr int inset = 4;
        desktop.xdotool(
            "mousemove "
            + at(content.x + content.width - inset + dx, content.y + content.height - inset + dy));
    }
    void releaseGrip() const { desktop.xdotool("mouseup 1"); }

    Desktop desktop;
};

TEST_F(ShownWindow, OpensInTheMiddleAndObeysTheKeyboard) {
    ShownUtility utility;
    const Box full = utility.content();
    EXPECT_EQ(full, full.sized(520, 635));
    const Box frame = utility.frame();
    EXPECT_TRUE(frame.isWithin(Desktop::screenWidth, Desktop::screenHeight)) << frame;
    EXPECT_NEAR(frame.x + frame.width / 2.0, Desktop::screenWidth / 2.0, 2);
    EXPECT_TRUE(becomes([&] { return utility.limits(); }, fullLimits));

    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility.stands(full.sized(500, 225)));
    EXPECT_TRUE(becomes([&] { return utility.limits(); }, miniLimits));
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility.stands(full));
    EXPECT_TRUE(becomes([&] { return utility.limits(); }, fullLimits));

    desktop.press("ctrl+comma");
    const std::string sheet = utility.waitForWindow("Utility Settings");
    EXPECT_EQ(outputOf("xprop -id " + sheet + " WM_TRANSIENT_FOR | sed 's/.*# //'"),
              outputOf("printf 0x%x " + utility.window()));
    utility.waitUntilActive(sheet);
    desktop.press("Escape");
    EXPECT_TRUE(becomes([&] { return utility.windowTitled("Utility Settings"); }, std::string()));
    utility.waitUntilActive(utility.window());
    desktop.press("ctrl+comma");
    outputOf("wmctrl -i -c " + utility.waitForWindow("Utility Settings"));
    EXPECT_TRUE(becomes([&] { return utility.windowTitled("Utility Settings"); }, std::string()));
    utility.waitUntilActive(utility.window());

    // The second item of the window's menu is "Mini Mode".
    desktop.xdotool("mousemove " + at(full.x + 60, full.y + 470) + " click 3");
    EXPECT_TRUE(testing::waitUntil([&] { return utility.hasMenu(); }));
    desktop.press("Down Down Return");
    EXPECT_TRUE(utility.stands(full.sized(500, 225)));
    EXPECT_EQ(utility.close(), "0");
}

TEST_F(ShownWindow, FollowsItsGripAndSnapsWhenItIsReleased) {
    ShownUtility utility;
    const Box full = utility.content();
    takeGrip(full);
    moveGrip(full, 0, -30);
    EXPECT_TRUE(utility.stands(full.sized(520, 605)));
    EXPECT_EQ(utility.limits(), fullLimits);
    moveGrip(full, 0, -100);
    EXPECT_TRUE(utility.stands(full.sized(520, 535)));
    EXPECT_TRUE(becomes([&] { return utility.limits(); }, miniLimits));
    releaseGrip();
    const Box wideMini = full.sized(520, 234); // 520 x 225 / 500
    EXPECT_TRUE(utility.stands(wideMini));

    takeGrip(wideMini);
    moveGrip(wideMini, -20, 0);
    EXPECT_TRUE(utility.stands(full.sized(500, 234)));
    releaseGrip();
    const Box mini = full.sized(500, 225);
    EXPECT_TRUE(utility.stands(mini));

    // Neither a press nor the smallest drag does anything, or the last drag would begin elsewhere.
    takeGrip(mini);
    releaseGrip();
    takeGrip(mini);
    moveGrip(mini, 1, 0);
    releaseGrip();
    takeGrip(mini);
    moveGrip(mini, 2, 0);
    releaseGrip();
    const Box widened = full.sized(502, 226);
    EXPECT_TRUE(utility.stands(widened));

    takeGrip(widened);
    moveGrip(widened, 0, 400);
    EXPECT_TRUE(utility.stands(full.sized(520, 626)));
    releaseGrip();
    EXPECT_TRUE(utility.stands(full));
    EXPECT_EQ(utility.close(), "0");
}

TEST_F(ShownWindow, SettlesInOneOfItsTwoShapes) {
    ShownUtility utility;
    const Box full = utility.content();
    WindowEvents events(utility.window());
    struct Resize {
        const char* size;
        const char* seen;
        Box settled;
    };
    const Resize resizes[] = {
        {"520 610", "width 520, height 610", full},
        {"520 400", "width 520, height 400", full.sized(520, 234)},
        {"510 300", "width 510, height 300", full.sized(510, 230)},
        {"505 620", "width 505, height 620", full},
    };
    for (const Resize& resize : resizes) {
        SCOPED_TRACE(resize.size);
        desktop.xdotool("windowsize " + utility.window() + " " + resize.size);
        events.waitFor(resize.seen);
        EXPECT_TRUE(utility.stands(resize.settled));
    }
    EXPECT_EQ(utility.close(), "0");
}

TEST_F(ShownWindow, StaysAboveOthersWithoutGoingAway) {
    std::optional<ShownUtility> utility(std::in_place);
    const Box full = utility->content();
    const auto isAbove = [&] { return utility->isAbove(); };
    {
        WindowEvents events(utility->window());
        for (const bool above : {true, false, true}) {
            desktop.click(full.x + 190, full.y + 581); // "Always on top"
            EXPECT_TRUE(becomes(isAbove, above));
        }
        EXPECT_EQ(utility->content(), full);
        EXPECT_EQ(utility->close(), "0");
        // All of it has been told by the time at which the end is.
        events.waitFor("DestroyNotify");
        EXPECT_EQ(events.countOf("\nMapNotify"), 0);
    }
    utility.emplace();
    EXPECT_TRUE(becomes(isAbove, true));
    EXPECT_TRUE(utility->stands(full));
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility->stands(full.sized(500, 225)));
    EXPECT_TRUE(isAbove());
    desktop.click(full.x + 338, full.y + 28); // "Pin"
    EXPECT_TRUE(becomes(isAbove, false));
    EXPECT_EQ(utility->close(), "0");
    utility.emplace();
    EXPECT_TRUE(utility->stands(full.sized(500, 225)));
    EXPECT_FALSE(isAbove());
    EXPECT_EQ(utility->close(), "0");
}

} // namespace
} // namespace tallywick

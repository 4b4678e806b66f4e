// The window as its users meet it: on a display, under a window manager, with mouse, keyboard and
// screen reader.

#include "AccessibilityBus.h"
#include "Desktop.h"

#include <gmock/gmock.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr auto npos = std::string::npos;

class ShownWindow : public ::testing::Test {
  protected:
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
    EXPECT_EQ(full, full.sized(520, 635));
    const Box frame = utility.frame();
    EXPECT_NEAR(frame.x + frame.width / 2.0, Desktop::screenWidth / 2.0, 2);
    // By these the desktop finds its entry among the applications, and shows it in lists.
    EXPECT_THAT(utility.property("WM_CLASS"),
                HasSubstr(R"("com.corvane.tallywick", "com.corvane.tallywick")"));
    EXPECT_THAT(utility.property("_NET_WM_ICON"),
                AllOf(HasSubstr("Icon (16 x 16)"), HasSubstr("Icon (128 x 128)")));

    const auto hasLeastSize = [&](const std::string& size) {
        const auto hints = utility.property("WM_NORMAL_HINTS");
        return hints.find("minimum size: " + size) != npos
               && hints.find("maximum size: 520 by 635") != npos;
    };
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility.stands(full.sized(500, 225)));
    EXPECT_TRUE(waitUntil([&] { return hasLeastSize("500 by 225"); }));
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility.stands(full));
    EXPECT_TRUE(waitUntil([&] { return hasLeastSize("520 by 225"); }));

    desktop.press("ctrl+comma");
    const std::string sheet = utility.waitForWindow("Utility Settings");
    EXPECT_EQ(outputOf("xprop -id " + sheet + " WM_TRANSIENT_FOR | sed 's/.*# //'"),
              outputOf("printf 0x%x " + utility.window()));
    utility.waitUntilActive(sheet);
    outputOf("wmctrl -i -c " + sheet);
    utility.waitUntilActive(utility.window());
    EXPECT_EQ(utility.windowTitled("Utility Settings"), "");
}

TEST_F(ShownWindow, FollowsItsGripAndSnapsWhenItIsReleased) {
    const ShownUtility utility;
    const Box full = utility.content();
    const Box wideMini = full.sized(520, 234); // 520 x 225 / 500
    const struct {
        const char* description;
        Box from;
        int dx, dy;
        Box dragged, released;
    } cases[] = {
        {"far up", full, 0, -100, full.sized(520, 535), wideMini},
        {"to the side", wideMini, -10, 0, full.sized(510, 234), full.sized(510, 230)},
        {"far down", full.sized(510, 230), 0, 400, full.sized(520, 630), full},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        const int x = row.from.x + row.from.width - 4;
        const int y = row.from.y + row.from.height - 4;
        desktop.mouse(x, y, "mousedown 1");
        desktop.mouse(x + row.dx, y + row.dy, "");
        EXPECT_TRUE(utility.stands(row.dragged));
        desktop.xdotool("mouseup 1");
        EXPECT_TRUE(utility.stands(row.released));
    }
    // So it does when the window manager resizes it.
    desktop.xdotool("windowsize " + utility.window() + " 520 400");
    EXPECT_TRUE(utility.stands(wideMini));
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
        desktop.mouse(full.x + 190, full.y + 581, "click 1"); // "Always on top"
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
    for (int restart = 0; restart < 2; ++restart) { // it does not creep
        utility.emplace();
        EXPECT_TRUE(utility->stands(mini));
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
    desktop.press("ctrl+shift+m"); // the other layout in the same size
    EXPECT_TRUE(utility->stands(tile));
    utility.emplace();
    EXPECT_TRUE(utility->stands(full));
}

TEST_F(ShownWindow, EndsWithItsHelperWhenTheSystemAsksThoughTheSettingsAreOpen) {
    const ShownUtility utility;
    const auto helper = [&] {
        return outputOf("cat /proc/" + utility.processId() + "/task/*/children");
    };
    EXPECT_TRUE(waitUntil([&] { return !helper().empty(); }));
    const fs::path process = "/proc/" + std::to_string(std::stoi(helper()));
    desktop.press("ctrl+comma");
    utility.waitForWindow("Utility Settings");
    outputOf("kill " + utility.processId());
    EXPECT_EQ(utility.exitStatus(), "0");
    EXPECT_FALSE(fs::exists(process));
}

TEST_F(ShownWindow, BringsItsFirstInstanceForwardInsteadOfASecondOne) {
    const fs::path copy = desktop.home() / "Corvane Tallywick.app";
    fs::copy(APPLICATION_BUNDLE, copy, fs::copy_options::recursive);
    const std::string executable = copy / "Contents/MacOS/CorvaneUtility";
    RunningProgram watching(executable, {"--watch", "--helper", SAMPLE_HELPER});
    watching.waitFor("LIVE"); // it has no window to bring forward
    const ShownUtility first(executable);
    const auto startAnother = [&] {
        EXPECT_EQ(outputOf("'" + executable + "' --portable"), "");
        first.waitUntilActive(first.window());
    };

    const RunningProgram other("/usr/bin/xev", {"-geometry", "1200x600+10+10"});
    EXPECT_TRUE(becomes([] { return outputOf("xdotool getactivewindow getwindowname"); },
                        std::string("Event Tester")));
    startAnother();
    desktop.xdotool("windowminimize " + first.window());
    EXPECT_TRUE(waitUntil([&] { return first.property("WM_STATE").find("Iconic") != npos; }));
    startAnother();
    EXPECT_EQ(first.property("WM_STATE").find("Iconic"), npos);
    desktop.xdotool("set_desktop 1"); // where others are
    startAnother();
    EXPECT_EQ(outputOf("xdotool get_desktop"), "0");

    // What the launcher offers is done where the window is, and a session that starts asks nothing.
    desktop.xdotool("set_desktop 1");
    const Box full = first.content();
    for (const auto& [arguments, expected] : {std::pair("--mini", full.sized(500, 225)),
                                              {"--unfocused", full.sized(500, 225)},
                                              {"--mini", full},
                                              {"--refresh", full}}) {
        EXPECT_EQ(outputOf("'" + executable + "' --portable " + arguments), "");
        EXPECT_TRUE(first.stands(expected)) << arguments;
    }
    EXPECT_EQ(outputOf("xdotool get_desktop"), "1");

    // A copy elsewhere that the session starts shows its window, and leaves the keyboard alone.
    const auto active = [] { return outputOf("xdotool getactivewindow getwindowname"); };
    outputOf("wmctrl -a 'Event Tester'");
    EXPECT_TRUE(becomes(active, std::string("Event Tester")));
    const RunningProgram unfocused(CORVANE_UTILITY, {"--unfocused", "--helper", SAMPLE_HELPER});
    EXPECT_TRUE(becomes([] { return outputOf("wmctrl -l | grep -c 'Corvane — Tallywick$'"); },
                        std::string("2")));
    EXPECT_EQ(ShownUtility::windowTitled("Welcome to Tallywick"), "");
    EXPECT_EQ(active(), "Event Tester");
}

/// Takes connections, and never says anything.
class SilentPort {
  public:
    SilentPort() : descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        EXPECT_EQ(::listen(descriptor, 1), 0);
    }
    ~SilentPort() { ::close(descriptor); }
    SilentPort(const SilentPort&) = delete;
    SilentPort& operator=(const SilentPort&) = delete;

    std::string number() const {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        EXPECT_EQ(::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size), 0);
        return std::to_string(ntohs(address.sin_port));
    }

  private:
    const int descriptor;
};

void tellsAndObeys() {
    const Desktop desktop;
    ::setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
    const RunningProgram service("/usr/libexec/at-spi-bus-launcher", {"--launch-immediately"});
    const SilentPort proxy;
    ::setenv("https_proxy", ("http://127.0.0.1:" + proxy.number()).c_str(), 1);
    const ShownUtility utility;
    const AccessibilityBus bus;
    bus.find("frame: Corvane — Tallywick");
    bus.find("label: Connection");
    bus.press("check box: Always on top");
    EXPECT_TRUE(becomes([&] { return utility.isAbove(); }, true));

    // A menu is one of the window's parts as long as it is open.
    const Box content = utility.content();
    desktop.mouse(content.x + 60, content.y + 470, "click 3");
    bus.find("popup menu: Utility");
    for (const char* entry : {"Show Utility", "Day Theme", "Refresh Usage", "Settings…"})
        bus.find("menu item: " + std::string(entry));
    bus.press("menu item: Mini Mode");
    EXPECT_TRUE(utility.stands(content.sized(500, 225)));

    // What runs goes on when the sheet is closed.
    desktop.press("ctrl+comma");
    utility.waitForWindow("Utility Settings");
    bus.press("push button: Check for Updates");
    bus.find("notification: Checking the Mac update feed…");
    bus.press("push button: Done");
    EXPECT_TRUE(becomes([] { return ShownUtility::windowTitled("Utility Settings"); }, ""s));
    desktop.press("ctrl+comma");
    bus.find("notification: Checking the Mac update feed…");
    bus.press("push button: Cancel");
    bus.find("notification: Update cancelled.");

    // A sheet in front of the window does not keep it from ending.
    bus.press("push button: Quit Tallywick");
    EXPECT_EQ(utility.exitStatus(), "0");
}

TEST(Accessibility, ReachesTheBusAndDoesWhatAScreenReaderAsks) { runApart(tellsAndObeys); }

} // namespace
} // namespace tallywick::testing

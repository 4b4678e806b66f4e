// The window as a screen reader meets it.

#include "AccessibleTree.h"
#include "Desktop.h"
#include "ShownUtility.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace tallywick {
namespace {

using testing::AccessibleElement;
using testing::becomes;
using testing::Box;
using testing::Desktop;
using ::testing::MatchesRegex;
using testing::RunningProgram;
using testing::ShownUtility;

using Elements = std::vector<AccessibleElement>;

constexpr const char* fullLayout = R"(frame: Corvane — Tallywick
filler, focusable: Tallywick
filler: 
filler: 
push button, focusable: Open corvane\.example
label: CODEX WEEKLY USAGE
label: ACCOUNT \+ THIS MAC
label: Connection = LIVE
label: LIVE · Synced [^\n]+
push button, focusable: Quit Tallywick
label: [0-9]+% used
label: [0-9]+% remaining
label: RESET IN = [0-9dhm ]+
label: Weekly usage = [0-9]+ percent used
label: THIS WEEK
label: Current weekly usage history = 1 local readings in this allowance week
label: LIFETIME TOKENS = [0-9.]+B
label: [-0-9]+ · TOKENS = [0-9.]+[KM]?
label: LOCAL HARDWARE
label: THIS MAC
label: CPU = ([0-9]+ percent|Measuring)
label: RAM = [0-9]+ percent
label: VOLUMES
label: FREE / TOTAL
filler: 
push button, focusable: Mini
push button, focusable: Day
check box, focusable: Always on top
push button, focusable: Refresh
push button, focusable: Settings
push button, focusable: Share
label: LIVE · Synced [^\n]+
push button, focusable: Resize utility
)";

constexpr const char* miniLayout = R"(frame: Corvane — Tallywick
filler, focusable: Tallywick
filler: 
label: CODEX WEEKLY
check box, focusable: Pin
push button, focusable: Expand ↗
push button, focusable: Quit Tallywick
label: [0-9]+% used
label: [0-9]+% remaining
label: Weekly usage = [0-9]+ percent used
label: LIFETIME TOKENS = [0-9.]+B
label: [-0-9]+ · TOKENS = [0-9.]+[KM]?
push button, focusable: Resize utility
)";

constexpr const char* utilityMenu = R"(popup menu, focusable: Utility
menu item, focusable: Show Utility
menu item, focusable: Expand
menu item, focusable: Day Theme
menu item, focusable: Refresh Usage
menu item, focusable: Settings…
)";

/// The utility on a desktop with the service for accessibility.
class AccessibleUtility {
  public:
    AccessibleUtility() {
        const auto found = testing::accessibleProgram(QDBusConnection::sessionBus());
        if (found)
            program.push_back(*found);
        EXPECT_EQ(program.size(), 1U);
    }

    Elements elements() const { return program.empty() ? Elements() : program[0].shownElements(); }

    /// A line for each element, in the order of reading. Volumes are left out: there are as many as
    /// the machine has.
    std::string transcript() const {
        std::string lines;
        for (const AccessibleElement& element : elements()) {
            std::string line =
                element.role() + (element.isFocusable() ? ", focusable: " : ": ") + element.name();
            if (const std::string text = element.text(); !text.empty())
                line += " = " + text;
            if (line.find(" GiB") == std::string::npos)
                lines += line + "\n";
        }
        return lines;
    }

    /// Waits until the window reads like that.
    void expectTranscript(const char* expression) const {
        std::string last;
        EXPECT_TRUE(testing::waitUntil([&] {
            last = transcript();
            return ::testing::Matches(MatchesRegex(expression))(last);
        })) << last;
    }

    AccessibleElement named(const std::string& name) const {
        for (const AccessibleElement& element : elements())
            if (element.name() == name)
                return element;
        ADD_FAILURE() << "no " << name << " in\n" << transcript();
        return program.at(0);
    }

    /// The names of the parts that can be operated, or only of the one that has the keyboard.
    std::vector<std::string> controls(bool focusedOnly) const {
        std::vector<std::string> names;
        for (const AccessibleElement& element : elements())
            if (element.role() != "filler"
                && (focusedOnly ? element.isFocused() : element.isFocusable()))
                names.push_back(element.name());
        return names;
    }

    ShownUtility window;

  private:
    Elements program;
};

void tellsAndDoesEverything() {
    const Desktop desktop;
    ::setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
    const RunningProgram service("/usr/libexec/at-spi-bus-launcher", {"--launch-immediately"});
    AccessibleUtility utility;
    const Box full = utility.window.content();
    utility.expectTranscript(fullLayout);
    EXPECT_EQ(utility.named("Resize utility").description(),
              "Drag upward for Mini or downward to expand. Press to switch layouts.");

    // Tab goes once through everything that can be operated, in the order of reading.
    const std::vector<std::string> controls = utility.controls(false);
    EXPECT_GE(controls.size(), 9U);
    for (std::size_t step = 0; step <= controls.size(); ++step) {
        desktop.press("Tab");
        EXPECT_TRUE(becomes([&] { return utility.controls(true); },
                            std::vector{controls[step % controls.size()]}));
    }

    const AccessibleElement pin = utility.named("Always on top");
    for (const bool above : {true, false}) {
        EXPECT_TRUE(pin.press());
        EXPECT_TRUE(becomes([&] { return utility.window.isAbove(); }, above));
        EXPECT_TRUE(becomes([&] { return pin.isChecked(); }, above));
    }

    EXPECT_TRUE(utility.named("Mini").press());
    EXPECT_TRUE(utility.window.stands(full.sized(500, 225)));
    utility.expectTranscript(miniLayout);
    EXPECT_TRUE(utility.named("Expand ↗").press());
    EXPECT_TRUE(utility.window.stands(full));
    utility.expectTranscript(fullLayout);
    EXPECT_TRUE(utility.named("Resize utility").press());
    EXPECT_TRUE(utility.window.stands(full.sized(500, 225)));

    // A menu is one of the window's parts as long as it is open, and its items are heard.
    const Box mini = full.sized(500, 225);
    desktop.xdotool("mousemove " + std::to_string(mini.x + 150) + " " + std::to_string(mini.y + 30)
                    + " click 3");
    utility.expectTranscript((std::string(miniLayout) + utilityMenu).c_str());
    EXPECT_TRUE(
        becomes([&] { return utility.controls(true); }, std::vector<std::string>{"Utility"}));
    desktop.press("Down");
    EXPECT_TRUE(
        becomes([&] { return utility.controls(true); }, std::vector<std::string>{"Show Utility"}));
    EXPECT_TRUE(utility.named("Day Theme").press());
    utility.expectTranscript(miniLayout);

    // A sheet in front of the window does not keep it from ending.
    const AccessibleElement quit = utility.named("Quit Tallywick");
    desktop.press("ctrl+comma");
    utility.window.waitForWindow("Utility Settings");
    EXPECT_TRUE(quit.press());
    EXPECT_EQ(utility.window.exitStatus(), "0");
}

TEST(Accessibility, TellsAScreenReaderEverythingAndDoesWhatItAsks) {
    testing::runApart(tellsAndDoesEverything);
}

} // namespace
} // namespace tallywick

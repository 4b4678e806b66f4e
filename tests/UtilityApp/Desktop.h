#pragma once

#include "support/PrivateBus.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>

namespace tallywick::testing {

/// A place on the screen, in pixels.
struct Box {
    int x = 0, y = 0, width = 0, height = 0;

    bool operator==(const Box&) const = default;
    friend std::ostream& operator<<(std::ostream& stream, const Box& box) {
        return stream << box.width << 'x' << box.height << '+' << box.x << '+' << box.y;
    }

    /// The same top left corner with another size.
    Box sized(int newWidth, int newHeight) const { return {x, y, newWidth, newHeight}; }
    /// Whether it lies on a screen of this size with all of its area.
    bool isWithin(int screenWidth, int screenHeight) const {
        return x >= 0 && y >= 0 && x + width <= screenWidth && y + height <= screenHeight;
    }
};

/// Waits until `read` returns `expected`.
template <typename Read, typename Value>
::testing::AssertionResult becomes(const Read& read, const Value& expected) {
    auto last = read();
    if (waitUntil([&] { return (last = read()) == expected; }))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "still " << ::testing::PrintToString(last);
}

/// A desktop of its own for one test: a display, a window manager and a session bus without
/// services, and a home folder with nothing in it. Everything that the test starts afterwards lives
/// on it.
class Desktop {
  public:
    /// The screen is so low that the full layout has room for two volumes only: its size does not
    /// depend on how many the machine has.
    static constexpr int screenWidth = 1280;
    static constexpr int screenHeight = 680;

    Desktop() {
        leaveNothingOfTheUsers();
        ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
        const std::string size = std::to_string(screenWidth) + "x" + std::to_string(screenHeight);
        server = start("/usr/bin/Xvfb", {"-displayfd", "1", "-nolisten", "tcp", "-noreset",
                                         "-screen", "0", size + "x24"});
        const std::string display = server->waitFor("\n");
        ::setenv("DISPLAY", (":" + display.substr(0, display.find('\n'))).c_str(), 1);
        manager = start("/usr/bin/openbox", {"--sm-disable"});
        // It announces itself before it listens, and misses a window that is shown in between: it
        // is there when it does what it is asked for.
        EXPECT_TRUE(waitUntil([] {
            outputOf("wmctrl -n 2");
            return outputOf("xprop -root _NET_NUMBER_OF_DESKTOPS").find("= 2") != std::string::npos;
        }));
    }

    const std::filesystem::path& home() const { return folder.path(); }

    /// Gives the one screen another size.
    void resizeScreen(int width, int height) const {
        const std::string mode =
            std::to_string(width) + " 0 0 0 " + std::to_string(height) + " 0 0 0";
        EXPECT_EQ(outputOf("xrandr --newmode other 0 " + mode
                           + " && xrandr --addmode screen other"
                             " && xrandr --output screen --mode other"),
                  "");
    }

    // The user's hands.
    void xdotool(const std::string& arguments) const {
        EXPECT_EQ(outputOf("xdotool " + arguments), "");
    }
    void press(const std::string& keys) const { xdotool("key " + keys); }
    /// Moves the mouse there and has it do something.
    void mouse(int x, int y, const std::string& action) const {
        xdotool("mousemove " + std::to_string(x) + " " + std::to_string(y) + " " + action);
    }

  private:
    static std::unique_ptr<RunningProgram> start(const std::string& executable,
                                                 const std::vector<std::string>& arguments) {
        return std::make_unique<RunningProgram>(executable, arguments);
    }
    void leaveNothingOfTheUsers() const {
        for (const char* name :
             {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
            ::setenv(name, home().c_str(), 1);
        for (const char* inherited :
             {"TALLYWICK_SAMPLE", "QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS", "QT_STYLE_OVERRIDE",
              "QT_QPA_PLATFORMTHEME", "QT_IM_MODULE", "XDG_CURRENT_DESKTOP", "WAYLAND_DISPLAY",
              "SESSION_MANAGER", "XAUTHORITY", "AT_SPI_BUS_ADDRESS"})
            ::unsetenv(inherited);
        ::setenv("PATH", "/usr/bin:/bin", 1);
        ::setenv("LC_ALL", "C.UTF-8", 1);
        ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    }

    TemporaryFolder folder;
    PrivateBus bus;
    std::unique_ptr<RunningProgram> server;
    std::unique_ptr<RunningProgram> manager;
};

/// The utility with its window on the desktop of the test, and with the sample helper. With this
/// object it ends as by the window manager, and must end well.
class ShownUtility {
  public:
    /// Starts the program and waits until its window stands still, with all of it on the screen:
    /// it may have to move once it knows its decoration.
    explicit ShownUtility(const std::string& executable = CORVANE_UTILITY)
        : shell("/bin/sh", {"-c", script, executable, "--portable", "--helper", SAMPLE_HELPER}),
          process(between(shell.waitFor("]"), "[process ", "]")),
          id(waitForWindow("Corvane — Tallywick")) {
        waitUntilActive(id);
        EXPECT_TRUE(waitUntil(
            [&] { return frame().isWithin(Desktop::screenWidth, Desktop::screenHeight); }));
    }
    ~ShownUtility() {
        outputOf("wmctrl -i -c " + id);
        EXPECT_EQ(exitStatus(), "0");
    }
    ShownUtility(const ShownUtility&) = delete;
    ShownUtility& operator=(const ShownUtility&) = delete;

    const std::string& processId() const { return process; }
    /// The window's number on the display.
    const std::string& window() const { return id; }

    /// The content of the window, or of another.
    Box content() const { return content(id); }
    Box content(const std::string& window) const {
        const std::string text = outputOf("xwininfo -id " + window);
        const auto number = [&text](const char* name) {
            return std::atoi(between(text, name, "\n").c_str());
        };
        return {number("Absolute upper-left X:"), number("Absolute upper-left Y:"),
                number("Width:"), number("Height:")};
    }
    /// The window with its decoration.
    Box frame() const {
        const std::string extents = between(property("_NET_FRAME_EXTENTS"), " = ", "\n");
        int left = 0, right = 0, top = 0, bottom = 0;
        EXPECT_EQ(std::sscanf(extents.c_str(), "%d, %d, %d, %d", &left, &right, &top, &bottom), 4);
        const Box box = content();
        return {box.x - left, box.y - top, box.width + left + right, box.height + top + bottom};
    }
    /// Waits until the content has that place.
    ::testing::AssertionResult stands(const Box& expected) const {
        return becomes([&] { return content(); }, expected);
    }
    /// Whether the window manager keeps it above all others.
    bool isAbove() const {
        return property("_NET_WM_STATE").find("_NET_WM_STATE_ABOVE") != std::string::npos;
    }
    /// What xprop says of a property of the window.
    std::string property(const std::string& name) const {
        return outputOf("xprop -id " + id + " " + name);
    }

    /// Waits for a window with that title, and returns its number.
    std::string waitForWindow(const std::string& title) const {
        std::string found;
        EXPECT_TRUE(waitUntil([&] { return !(found = windowTitled(title)).empty(); }))
            << title << " is missing among " << outputOf("wmctrl -l") << "\n"
            << shell.output();
        return found;
    }
    /// Empty when there is none.
    static std::string windowTitled(const std::string& title) {
        return outputOf("wmctrl -l 2>/dev/null | awk '/ " + title + "$/ { print $1 }'");
    }
    /// Waits until that window has the keyboard.
    void waitUntilActive(const std::string& window) const {
        EXPECT_TRUE(
            becomes([] { return outputOf("printf 0x%08x $(xdotool getactivewindow)"); }, window));
    }

    /// Waits for the program's end.
    std::string exitStatus() const { return between(shell.waitFor("[exit "), "[exit ", "]"); }

  private:
    /// Tells the program's process id, and its exit status in the end.
    static constexpr const char* script =
        R"("$0" "$@" 2>&1 & echo "[process $!]"; wait $!; echo "[exit $?]")";

    /// What stands between two marks, or behind the first one to the end.
    static std::string between(const std::string& text, const std::string& begin,
                               const std::string& end) {
        const std::size_t mark = text.find(begin);
        if (mark == std::string::npos)
            return {};
        const std::size_t start = mark + begin.size();
        return text.substr(start, text.find(end, start) - start);
    }

    mutable RunningProgram shell;
    std::string process;
    std::string id;
};

} // namespace tallywick::testing

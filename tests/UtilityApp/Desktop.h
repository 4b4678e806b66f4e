#pragma once

#include "support/PrivateBus.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>

namespace tallywick::testing {

/// A place on the screen, in pixels.
struct Box {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const Box&) const = default;

    /// The same top left corner with another size.
    Box sized(int newWidth, int newHeight) const { return {x, y, newWidth, newHeight}; }
    /// Whether it lies on a screen of this size with all of its area.
    bool isWithin(int screenWidth, int screenHeight) const {
        return x >= 0 && y >= 0 && x + width <= screenWidth && y + height <= screenHeight;
    }
};
std::ostream& operator<<(std::ostream& stream, const Box& box);

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
    Desktop();

    static constexpr int screenWidth = 1280;
    static constexpr int screenHeight = 680;

    const std::filesystem::path& home() const { return folder.path(); }

    /// Gives the one screen another size.
    void resizeScreen(int width, int height) const;

    // The user's hands.
    void press(const std::string& keys) const { xdotool("key " + keys); }
    void click(int x, int y) const;
    void xdotool(const std::string& arguments) const;

  private:
    TemporaryFolder folder;
    PrivateBus bus;
    std::unique_ptr<RunningProgram> server;
    std::unique_ptr<RunningProgram> manager;
};

/// The utility with its window on the desktop of the test, and with the sample helper. With this
/// object it ends as by the window manager, and must end well.
class ShownUtility {
  public:
    /// Starts the program and waits until its window stands still, with all of it on the screen.
    explicit ShownUtility(const std::string& executable = CORVANE_UTILITY);
    ~ShownUtility();
    ShownUtility(const ShownUtility&) = delete;
    ShownUtility& operator=(const ShownUtility&) = delete;

    int processId() const { return process; }
    /// The window's number on the display.
    const std::string& window() const { return id; }

    /// The content of the window, or of another.
    Box content() const { return content(id); }
    Box content(const std::string& window) const;
    /// The window with its decoration.
    Box frame() const;
    /// Waits until the content has that place.
    ::testing::AssertionResult stands(const Box& expected) const;
    /// Whether the window manager keeps it above all others.
    bool isAbove() const;
    /// The smallest and the largest content that it allows, as "W by H, W by H".
    std::string limits() const;

    /// The number of this program's window with that title; empty when there is none.
    std::string windowTitled(const std::string& title) const;
    /// Waits for it.
    std::string waitForWindow(const std::string& title) const;
    /// Waits until that window has the keyboard.
    void waitUntilActive(const std::string& window) const;

    /// The process id of the one helper that the program has started, or 0.
    int helper() const;

    /// Asks for the end as the window manager does.
    void close() const;
    /// Waits for the program's end. Its exit status.
    std::string exitStatus() const;

    /// What xprop says of a property of the window.
    std::string property(const std::string& name) const;

  private:
    mutable RunningProgram shell;
    int process;
    std::string id;
};

} // namespace tallywick::testing

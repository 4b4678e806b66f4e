#pragma once

#include "Desktop.h"

#include <string>

namespace tallywick::testing {

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

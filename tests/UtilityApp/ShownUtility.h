#pragma once

#include "Desktop.h"
#include "RunningProgram.h"

#include <string>
#include <vector>

namespace tallywick::testing {

/// The utility with its window on the desktop of the test, and with the sample helper.
class ShownUtility {
  public:
    /// Starts the program and waits for its window.
    explicit ShownUtility(const std::string& executable = CORVANE_UTILITY,
                          const std::string& helper = SAMPLE_HELPER);

    int processId() const { return process; }
    /// The window's number on the display.
    const std::string& window() const { return id; }

    /// The content of the window.
    Box content() const;
    /// The window with its decoration.
    Box frame() const;
    /// Waits until the content has that place.
    ::testing::AssertionResult stands(const Box& expected) const;
    /// Whether the window manager keeps it above all others.
    bool isAbove() const;
    bool isMinimised() const;
    /// What xprop says of a property of the window, from its first value on.
    std::string property(const std::string& name) const;
    /// The smallest and the largest content that it allows, as "WxH WxH".
    std::string limits() const;

    /// The number of this program's window with that title; empty when there is none.
    std::string windowTitled(const std::string& title) const;
    /// Waits for it.
    std::string waitForWindow(const std::string& title) const;

    /// Waits until that window has the keyboard.
    void waitUntilActive(const std::string& window) const;
    /// Whether a menu of this program is open.
    bool hasMenu() const;

    /// Processes that the program has started and that still run.
    std::vector<int> helpers() const;

    /// Asks for the end as the window manager does. The exit status.
    std::string close();
    /// Waits for the program's end. Its exit status.
    std::string exitStatus();

  private:
    RunningProgram shell;
    int process;
    std::string id;
};

} // namespace tallywick::testing

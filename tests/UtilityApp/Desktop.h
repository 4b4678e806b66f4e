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

} // namespace tallywick::testing

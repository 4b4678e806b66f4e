#include "ShownUtility.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace tallywick::testing {

namespace {

/// Tells the program's process id, and its exit status in the end.
constexpr const char* script = R"("$0" "$@" 2>&1 & echo "[process $!]"; wait $!; echo "[exit $?]")";

/// What stands between two marks, or behind the first one to the end.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
    const std::size_t mark = text.find(begin);
    if (mark == std::string::npos)
        return {};
    const std::size_t start = mark + begin.size();
    const std::size_t stop = text.find(end, start);
    return text.substr(start, stop == std::string::npos ? stop : stop - start);
}

int number(const std::string& text) { return std::atoi(text.c_str()); }

} // namespace

ShownUtility::ShownUtility(const std::string& executable, const std::string& helper)
    : shell("/bin/sh", {"-c", script, executable, "--portable", "--helper", helper}),
      process(number(between(shell.waitFor("]"), "[process ", "]"))),
      id(waitForWindow("Corvane — Tallywick")) {
    waitUntilActive(id);
}

Box ShownUtility::content() const {
    const std::string text = outputOf("xwininfo -id " + id);
    return {number(between(text, "Absolute upper-left X:", "\n")),
            number(between(text, "Absolute upper-left Y:", "\n")),
            number(between(text, "Width:", "\n")), number(between(text, "Height:", "\n"))};
}

Box ShownUtility::frame() const {
    const std::string extents = property("_NET_FRAME_EXTENTS");
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;
    EXPECT_EQ(std::sscanf(extents.c_str(), "%d, %d, %d, %d", &left, &right, &top, &bottom), 4);
    const Box box = content();
    return {box.x - left, box.y - top, box.width + left + right, box.height + top + bottom};
}

::testing::AssertionResult ShownUtility::stands(const Box& expected) const {
    return becomes([&] { return content(); }, expected);
}

bool ShownUtility::isAbove() const {
    return property("_NET_WM_STATE").find("_NET_WM_STATE_ABOVE") != std::string::npos;
}

bool ShownUtility::isMinimised() const {
    return property("WM_STATE").find("Iconic") != std::string::npos;
}

std::string ShownUtility::property(const std::string& name) const {
    const std::string text = outputOf("xprop -id " + id + " " + name);
    return between(text, " = ", "\n") + between(text, ":\n\t\t", "\n");
}

std::string ShownUtility::limits() const {
    const std::string text = outputOf("xprop -id " + id + " WM_NORMAL_HINTS");
    return between(text, "minimum size: ", "\n") + ", " + between(text, "maximum size: ", "\n");
}

std::string ShownUtility::windowTitled(const std::string& title) const {
    std::istringstream lines(outputOf("wmctrl -lp"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string window;
        int desktop = 0;
        int owner = 0;
        words >> window >> desktop >> owner;
        if (owner == process && line.ends_with(" " + title))
            return window;
    }
    return {};
}

std::string ShownUtility::waitForWindow(const std::string& title) const {
    std::string found;
    EXPECT_TRUE(waitUntil([&] { return !(found = windowTitled(title)).empty(); }))
        << title << " is missing among " << outputOf("wmctrl -lp") << "\n"
        << shell.output();
    return found;
}

void ShownUtility::waitUntilActive(const std::string& window) const {
    EXPECT_TRUE(
        becomes([] { return outputOf("printf 0x%08x $(xdotool getactivewindow)"); }, window));
}

bool ShownUtility::hasMenu() const {
    // A menu is the one kind of window that no window manager takes into a frame of its own.
    const std::string mark = "\"CorvaneUtility\": (\"CorvaneUtility\"";
    return outputOf("xwininfo -root -children").find(mark) != std::string::npos;
}

std::vector<int> ShownUtility::helpers() const {
    std::vector<int> found;
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& thread : std::filesystem::directory_iterator(tasks)) {
        std::ifstream children(thread.path() / "children");
        for (int child = 0; children >> child;)
            found.push_back(child);
    }
    return found;
}

std::string ShownUtility::close() {
    outputOf("wmctrl -i -c " + id);
    return exitStatus();
}

std::string ShownUtility::exitStatus() { return between(shell.waitFor("[exit "), "[exit ", "]"); }

} // namespace tallywick::testing

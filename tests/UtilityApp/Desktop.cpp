#include "Desktop.h"

#include <cstdio>
#include <cstdlib>

namespace tallywick::testing {

namespace {

void setVariable(const char* name, const std::string& value) {
    ASSERT_EQ(::setenv(name, value.c_str(), 1), 0);
}

/// Nothing of the user's own desktop is left in the environment.
void setEnvironment(const std::filesystem::path& home) {
    for (const char* folder :
         {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
        setVariable(folder, home);
    for (const char* inherited :
         {"TALLYWICK_SAMPLE", "QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS", "QT_STYLE_OVERRIDE",
          "QT_QPA_PLATFORMTHEME", "QT_IM_MODULE", "XDG_CURRENT_DESKTOP", "WAYLAND_DISPLAY",
          "SESSION_MANAGER", "XAUTHORITY", "AT_SPI_BUS_ADDRESS"})
        ::unsetenv(inherited);
    setVariable("PATH", "/usr/bin:/bin");
    setVariable("LC_ALL", "C.UTF-8");
    setVariable("QT_QPA_PLATFORM", "xcb");
}

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

std::ostream& operator<<(std::ostream& stream, const Box& box) {
    return stream << box.width << 'x' << box.height << '+' << box.x << '+' << box.y;
}

Desktop::Desktop() {
    setEnvironment(home());
    server = std::make_unique<RunningProgram>(
        "/usr/bin/Xvfb",
        std::vector<std::string>{"-displayfd", "1", "-nolisten", "tcp", "-noreset", "-screen", "0",
                                 std::to_string(screenWidth) + "x" + std::to_string(screenHeight)
                                     + "x24"});
    const std::string display = server->waitFor("\n");
    setVariable("DISPLAY", ":" + display.substr(0, display.find('\n')));
    setVariable("DBUS_SESSION_BUS_ADDRESS", bus.address());
    manager = std::make_unique<RunningProgram>("/usr/bin/openbox",
                                               std::vector<std::string>{"--sm-disable"});
    EXPECT_TRUE(waitUntil([] {
        return outputOf("xprop -root _NET_SUPPORTING_WM_CHECK").find("window id")
               != std::string::npos;
    }));
}

void Desktop::resizeScreen(int width, int height) const {
    const std::string size = std::to_string(width) + " 0 0 0 " + std::to_string(height) + " 0 0 0";
    EXPECT_EQ(outputOf("xrandr --newmode other 0 " + size
                       + " && xrandr --addmode screen other"
                         " && xrandr --output screen --mode other"),
              "");
}

void Desktop::click(int x, int y) const {
    xdotool("mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1");
}

void Desktop::xdotool(const std::string& arguments) const {
    EXPECT_EQ(outputOf("xdotool " + arguments), "");
}

ShownUtility::ShownUtility(const std::string& executable)
    : shell("/bin/sh", {"-c", script, executable, "--portable", "--helper", SAMPLE_HELPER}),
      process(number(between(shell.waitFor("]"), "[process ", "]"))),
      id(waitForWindow("Corvane — Tallywick")) {
    waitUntilActive(id);
    // It may have to move once it knows its decoration, and stands still from then on.
    EXPECT_TRUE(
        waitUntil([&] { return frame().isWithin(Desktop::screenWidth, Desktop::screenHeight); }));
}

ShownUtility::~ShownUtility() {
    close();
    EXPECT_EQ(exitStatus(), "0");
}

Box ShownUtility::content(const std::string& window) const {
    const std::string text = outputOf("xwininfo -id " + window);
    return {number(between(text, "Absolute upper-left X:", "\n")),
            number(between(text, "Absolute upper-left Y:", "\n")),
            number(between(text, "Width:", "\n")), number(between(text, "Height:", "\n"))};
}

Box ShownUtility::frame() const {
    const std::string extents = between(property("_NET_FRAME_EXTENTS"), " = ", "\n");
    int left = 0, right = 0, top = 0, bottom = 0;
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

std::string ShownUtility::property(const std::string& name) const {
    return outputOf("xprop -id " + id + " " + name);
}

std::string ShownUtility::limits() const {
    const std::string text = property("WM_NORMAL_HINTS");
    return between(text, "minimum size: ", "\n") + ", " + between(text, "maximum size: ", "\n");
}

std::string ShownUtility::windowTitled(const std::string& title) const {
    return outputOf("wmctrl -lp 2>/dev/null | awk '$3 == " + std::to_string(process) + " && / "
                    + title + "$/ { print $1 }'");
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

int ShownUtility::helper() const {
    return number(outputOf("cat /proc/" + std::to_string(process) + "/task/*/children"));
}

void ShownUtility::close() const { outputOf("wmctrl -i -c " + id); }

std::string ShownUtility::exitStatus() const {
    return between(shell.waitFor("[exit "), "[exit ", "]");
}

} // namespace tallywick::testing

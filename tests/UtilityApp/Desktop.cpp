#include "Desktop.h"

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

} // namespace tallywick::testing

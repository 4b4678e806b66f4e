#include "platform/desktop/WindowSystem.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QOpenGLContext>

namespace tallywick {

namespace {

constexpr const char* waylandDisplay = "WAYLAND_DISPLAY";

/// Names the plug-in by which the toolkit hands pictures to a Wayland compositor other than through
/// plain memory. It reads this once.
constexpr const char* pictureTransport = "QT_WAYLAND_CLIENT_BUFFER_INTEGRATION";

bool isOnWayland() { return QGuiApplication::platformName().startsWith(QLatin1String("wayland")); }

} // namespace

std::vector<std::string> windowSystemArguments(const EnvironmentReader& environment) {
    const bool hasBoth = !environment(waylandDisplay).empty() && !environment("DISPLAY").empty();
    if (!hasBoth || !environment("QT_QPA_PLATFORM").empty())
        return {};
    return {"-platform", "xcb;wayland"};
}

std::vector<std::string> windowSystemArguments() {
    return windowSystemArguments([](const char* name) { return qgetenv(name).toStdString(); });
}

void startWithoutGraphicsDriver(const std::function<void()>& start) {
    if (qEnvironmentVariableIsEmpty(waylandDisplay) || qEnvironmentVariableIsSet(pictureTransport))
        return start();
    qputenv(pictureTransport, "none");
    start();
    if (isOnWayland()) // asks for the plug-in, which is looked for once
        static_cast<void>(QOpenGLContext::supportsThreadedOpenGL());
    qunsetenv(pictureTransport); // other programs may draw as they like
}

bool windowsCanBePlaced() { return !isOnWayland(); }

} // namespace tallywick

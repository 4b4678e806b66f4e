#include "platform/desktop/WindowActivation.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QWindow>

#include <xcb/xcb.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

namespace tallywick {

namespace {

/// An answer of the X server, or nothing.
template <typename Reply>
using Answer = std::unique_ptr<Reply, decltype(&std::free)>;

template <typename Reply>
Answer<Reply> answer(Reply* reply) {
    return {reply, &std::free};
}

/// Asks the window manager as a task list does, in the user's name. What the toolkit asks for by
/// itself carries the time of the last key that it has seen; whoever works in another window has
/// pressed one since, and the entry in the task list is all that moves.
class WindowManager {
  public:
    WindowManager(xcb_connection_t* display, WId managed, xcb_timestamp_t launched)
        : connection(display), window(static_cast<xcb_window_t>(managed)), time(launched) {
        const auto geometry = answer(
            xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr));
        root = geometry ? geometry->root : xcb_window_t{XCB_WINDOW_NONE};
    }

    /// Not every window manager goes there by itself when a window is activated.
    void goToWorkspace() const {
        constexpr std::uint32_t everyWorkspace = 0xffffffff;
        const auto workspace = number(atom("_NET_WM_DESKTOP"));
        if (workspace && workspace != everyWorkspace)
            send(root, "_NET_CURRENT_DESKTOP", {*workspace, time});
    }

    void activate() const {
        constexpr std::uint32_t userAction = 2;
        send(window, "_NET_ACTIVE_WINDOW", {userAction, time});
        xcb_flush(connection);
    }

  private:
    xcb_atom_t atom(std::string_view name) const {
        const auto found = answer(xcb_intern_atom_reply(
            connection,
            xcb_intern_atom(connection, false, static_cast<std::uint16_t>(name.size()),
                            name.data()),
            nullptr));
        return found ? found->atom : xcb_atom_t{XCB_ATOM_NONE};
    }

    /// A property of the window.
    std::optional<std::uint32_t> number(xcb_atom_t property) const {
        const auto found = answer(xcb_get_property_reply(
            connection,
            xcb_get_property(connection, false, window, property, XCB_ATOM_CARDINAL, 0, 1),
            nullptr));
        std::uint32_t value = 0;
        if (!found || found->format != 32 || xcb_get_property_value_length(found.get()) < 4)
            return std::nullopt;
        std::memcpy(&value, xcb_get_property_value(found.get()), sizeof value);
        return value;
    }

    void send(xcb_window_t about, std::string_view type, std::array<std::uint32_t, 2> data) const {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = about;
        message.type = atom(type);
        message.data.data32[0] = data[0];
        message.data.data32[1] = data[1];
        xcb_send_event(connection, false, root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&message));
    }

    xcb_connection_t* const connection;
    const xcb_window_t window;
    const xcb_timestamp_t time;
    xcb_window_t root;
};

/// When the user asked for the launch, as the token tells at its end, otherwise now.
xcb_timestamp_t launchTime(std::string_view token) {
    constexpr std::string_view mark = "_TIME";
    xcb_timestamp_t time = XCB_CURRENT_TIME;
    if (const std::size_t found = token.rfind(mark); found != std::string_view::npos)
        std::from_chars(token.data() + found + mark.size(), token.data() + token.size(), time);
    return time;
}

} // namespace

std::string launchToken() {
    // The first is that of Wayland, the second of X11.
    for (const char* variable : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"})
        if (const QByteArray token = qgetenv(variable); !token.isEmpty())
            return token.toStdString();
    return {};
}

void bringToFront(QWindow& window, const std::string& token) {
    if (const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()) {
        const WindowManager manager(x11->connection(), window.winId(), launchTime(token));
        manager.goToWorkspace();
        manager.activate();
        return;
    }
    if (!token.empty()) // where the toolkit takes it from
        qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(token));
    window.requestActivate();
}

} // namespace tallywick

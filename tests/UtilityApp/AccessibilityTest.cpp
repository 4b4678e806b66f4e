// The window on the bus for accessibility, under a window manager. What is read in it, and in which
// order, the tests of the views tell.

#include "Desktop.h"
#include "support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVariant>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace tallywick::testing {
namespace {

/// Something on a bus that can be asked.
struct Element {
    QString service;
    QString path;

    /// The first value of its answer; none when there was an error.
    QVariant ask(const QDBusConnection& bus, const char* interface, const char* method,
                 const QVariantList& arguments = {}) const {
        QDBusMessage request = QDBusMessage::createMethodCall(
            service, path, QLatin1String(interface), QLatin1String(method));
        request.setArguments(arguments);
        const QDBusMessage reply = bus.call(request);
        return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
    }
};

/// Whatever the programs of the desktop tell screen readers.
class AccessibilityBus {
  public:
    AccessibilityBus() : bus(QDBusConnection::connectToBus(address(), u"accessibility"_qs)) {}

    /// Waits for an element that reads like that: "role: name", or "role: name = text".
    Element find(const std::string& line) const {
        Element found;
        EXPECT_TRUE(waitUntil([&] {
            lines.clear();
            return findBelow({u"org.a11y.atspi.Registry"_qs, u"/org/a11y/atspi/accessible/root"_qs},
                             line, found);
        })) << line
            << " is missing in\n"
            << lines;
        return found;
    }

    /// Does what a press with the mouse would.
    void press(const std::string& line) const {
        EXPECT_TRUE(find(line).ask(bus, "org.a11y.atspi.Action", "DoAction", {0}).toBool()) << line;
    }

  private:
    static QString address() {
        const Element service{u"org.a11y.Bus"_qs, u"/org/a11y/bus"_qs};
        QString found;
        waitUntil([&] {
            found =
                service.ask(QDBusConnection::sessionBus(), "org.a11y.Bus", "GetAddress").toString();
            return !found.isEmpty();
        });
        return found;
    }

    std::string describe(const Element& element) const {
        constexpr const char* interface = "org.a11y.atspi.Accessible";
        const QVariant role = element.ask(bus, interface, "GetRoleName");
        const QVariant name = element.ask(bus, "org.freedesktop.DBus.Properties", "Get",
                                          {QLatin1String(interface), u"Name"_qs});
        const QVariant text = element.ask(bus, "org.a11y.atspi.Text", "GetText", {0, -1});
        std::string line = role.toString().toStdString() + ": ";
        line += name.value<QDBusVariant>().variant().toString().toStdString();
        const std::string value = text.toString().toStdString();
        return value.empty() ? line : line + " = " + value;
    }

    bool findBelow(const Element& parent, const std::string& line, Element& found) const {
        for (const Element& child : childrenOf(parent)) {
            const std::string own = describe(child);
            lines += own + "\n";
            if (own == line)
                found = child;
            if (own == line || findBelow(child, line, found))
                return true;
        }
        return false;
    }

    std::vector<Element> childrenOf(const Element& element) const {
        const auto list =
            element.ask(bus, "org.a11y.atspi.Accessible", "GetChildren").value<QDBusArgument>();
        std::vector<Element> children;
        if (list.currentType() != QDBusArgument::ArrayType)
            return children;
        for (list.beginArray(); !list.atEnd();) {
            QString service;
            QDBusObjectPath path;
            list.beginStructure();
            list >> service >> path;
            list.endStructure();
            children.push_back({service, path.path()});
        }
        list.endArray();
        return children;
    }

    QDBusConnection bus;
    mutable std::string lines; ///< all that was heard last
};

void tellsAndObeys() {
    const Desktop desktop;
    ::setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
    const RunningProgram service("/usr/libexec/at-spi-bus-launcher", {"--launch-immediately"});
    const ShownUtility utility;
    const AccessibilityBus bus;
    bus.find("frame: Corvane — Tallywick");
    bus.find("label: Connection = LIVE");
    for (const bool above : {true, false}) {
        bus.press("check box: Always on top");
        EXPECT_TRUE(becomes([&] { return utility.isAbove(); }, above));
    }

    // A menu is one of the window's parts as long as it is open, and its items are heard.
    const Box content = utility.content();
    desktop.xdotool("mousemove " + std::to_string(content.x + 60) + " "
                    + std::to_string(content.y + 470) + " click 3");
    bus.find("popup menu: Utility");
    bus.press("menu item: Mini Mode");
    EXPECT_TRUE(utility.stands(content.sized(500, 225)));

    // A sheet in front of the window does not keep it from ending.
    desktop.press("ctrl+comma");
    utility.waitForWindow("Utility Settings");
    bus.press("push button: Quit Tallywick");
    EXPECT_EQ(utility.exitStatus(), "0");
}

TEST(Accessibility, ReachesTheBusAndDoesWhatAScreenReaderAsks) { runApart(tellsAndObeys); }

} // namespace
} // namespace tallywick::testing

#pragma once

#include "support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>

#include <optional>
#include <string>
#include <vector>

namespace tallywick::testing {

/// Whatever the programs of the desktop tell screen readers, on the bus for accessibility.
class AccessibilityBus {
  public:
    AccessibilityBus() {
        QString address;
        const Element service{u"org.a11y.Bus"_qs, u"/org/a11y/bus"_qs};
        EXPECT_TRUE(waitUntil([&] {
            address = ask(service, "org.a11y.Bus", "GetAddress").toString();
            return !address.isEmpty();
        }));
        bus = QDBusConnection::connectToBus(address, u"accessibility"_qs);
    }

    /// Waits for an element that the user sees and may use, and that reads like that: "role: name".
    void find(const std::string& line) const { waitFor(line); }
    /// Does what a press with the mouse would.
    void press(const std::string& line) const {
        EXPECT_TRUE(ask(waitFor(line), "org.a11y.atspi.Action", "DoAction", {0}).toBool()) << line;
    }

  private:
    struct Element {
        QString service, path;
    };
    static constexpr const char* accessible = "org.a11y.atspi.Accessible";

    /// The first value of an element's answer; none when there was an error.
    QVariant ask(const Element& element, const char* interface, const char* method,
                 const QVariantList& arguments = {}) const {
        QDBusMessage request = QDBusMessage::createMethodCall(
            element.service, element.path, QLatin1String(interface), QLatin1String(method));
        request.setArguments(arguments);
        const QDBusMessage reply = bus.call(request);
        return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
    }

    Element waitFor(const std::string& line) const {
        std::optional<Element> found;
        std::string lines; // all that was heard last
        EXPECT_TRUE(waitUntil([&] {
            lines.clear();
            found =
                findBelow({u"org.a11y.atspi.Registry"_qs, u"/org/a11y/atspi/accessible/root"_qs},
                          line, lines);
            return found.has_value();
        })) << line
            << " is missing in\n"
            << lines;
        return found.value_or(Element());
    }

    std::optional<Element> findBelow(const Element& parent, const std::string& line,
                                     std::string& lines) const {
        for (const Element& child : childrenOf(parent)) {
            const std::string own = describe(child);
            lines += own + "\n";
            const auto found =
                own == line && isOffered(child) ? child : findBelow(child, line, lines);
            if (found)
                return found;
        }
        return {};
    }

    /// Read to its end: an answer that is left before that is never freed.
    std::vector<Element> childrenOf(const Element& parent) const {
        const auto list = ask(parent, accessible, "GetChildren").value<QDBusArgument>();
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

    bool isOffered(const Element& element) const {
        constexpr uint sensitive = 1U << 24, visible = 1U << 30;
        const auto states = qdbus_cast<QList<uint>>(ask(element, accessible, "GetState"));
        return !states.isEmpty() && (states[0] & sensitive) != 0 && (states[0] & visible) != 0;
    }

    std::string describe(const Element& element) const {
        const QVariant role = ask(element, accessible, "GetRoleName");
        const QVariant name = ask(element, "org.freedesktop.DBus.Properties", "Get",
                                  {QLatin1String(accessible), u"Name"_qs});
        return (role.toString() + u": "_qs + name.value<QDBusVariant>().variant().toString())
            .toStdString();
    }

    QDBusConnection bus = QDBusConnection::sessionBus();
};

} // namespace tallywick::testing

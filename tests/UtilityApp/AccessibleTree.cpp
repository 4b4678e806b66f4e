#include "AccessibleTree.h"

#include "support/RunningProgram.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVariant>

#include <utility>

namespace tallywick::testing {

namespace {

constexpr const char* accessibleInterface = "org.a11y.atspi.Accessible";
const QString rootPath = QStringLiteral("/org/a11y/atspi/accessible/root");

/// The first value of an answer; none when there was an error.
QVariant answer(const QDBusConnection& bus, const QString& service, const QString& path,
                const char* interface, const char* method, const QVariantList& arguments) {
    QDBusMessage request = QDBusMessage::createMethodCall(service, path, QLatin1String(interface),
                                                          QLatin1String(method));
    request.setArguments(arguments);
    const QDBusMessage reply = bus.call(
        request, QDBus::Block, static_cast<int>(std::chrono::milliseconds(patience()).count()));
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

} // namespace

AccessibleElement::AccessibleElement(QDBusConnection connection, QString owner, QString place)
    : bus(std::move(connection)), service(std::move(owner)), path(std::move(place)) {}

std::string AccessibleElement::name() const { return property("Name"); }

std::string AccessibleElement::description() const { return property("Description"); }

std::string AccessibleElement::role() const {
    return call(accessibleInterface, "GetRoleName", {}).toString().toStdString();
}

std::string AccessibleElement::text() const {
    return call("org.a11y.atspi.Text", "GetText", {0, -1}).toString().toStdString();
}

std::vector<AccessibleElement> AccessibleElement::children() const {
    const auto list = call(accessibleInterface, "GetChildren", {}).value<QDBusArgument>();
    std::vector<AccessibleElement> found;
    if (list.currentType() != QDBusArgument::ArrayType)
        return found;
    list.beginArray();
    while (!list.atEnd()) {
        QString owner;
        QDBusObjectPath place;
        list.beginStructure();
        list >> owner >> place;
        list.endStructure();
        found.emplace_back(bus, owner, place.path());
    }
    list.endArray();
    return found;
}

bool AccessibleElement::press() const {
    return call("org.a11y.atspi.Action", "DoAction", {0}).toBool();
}

std::vector<AccessibleElement> AccessibleElement::shownElements() const {
    std::vector<AccessibleElement> found;
    for (const AccessibleElement& child : children()) {
        if (!child.isShowing())
            continue;
        found.push_back(child);
        for (const AccessibleElement& inner : child.shownElements())
            found.push_back(inner);
    }
    return found;
}

bool AccessibleElement::hasState(unsigned number) const {
    const auto words = call(accessibleInterface, "GetState", {}).value<QDBusArgument>();
    if (words.currentType() != QDBusArgument::ArrayType)
        return false;
    QList<quint32> bits;
    words >> bits;
    const unsigned word = number / 32;
    return word < static_cast<unsigned>(bits.size()) && (bits[word] >> number % 32 & 1U) != 0;
}

QVariant AccessibleElement::call(const char* interface, const char* method,
                                 const QVariantList& arguments) const {
    return answer(bus, service, path, interface, method, arguments);
}

std::string AccessibleElement::property(const char* name) const {
    const QVariant value = call("org.freedesktop.DBus.Properties", "Get",
                                {QLatin1String(accessibleInterface), QLatin1String(name)});
    return value.value<QDBusVariant>().variant().toString().toStdString();
}

std::optional<AccessibleElement> accessibleProgram(const QDBusConnection& session) {
    QString address;
    waitUntil([&] {
        address = answer(session, QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                         "org.a11y.Bus", "GetAddress", {})
                      .toString();
        return !address.isEmpty();
    });
    const AccessibleElement registry(
        QDBusConnection::connectToBus(address, QStringLiteral("accessibility")),
        QStringLiteral("org.a11y.atspi.Registry"), rootPath);
    std::vector<AccessibleElement> programs;
    waitUntil([&] { return !(programs = registry.children()).empty(); });
    return programs.empty() ? std::nullopt : std::optional(programs.front());
}

} // namespace tallywick::testing

#include "platform/desktop/linux/Notices.h"

#include "base/Product.h"

#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>

#include <utility>

namespace tallywick {

namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString interface = QStringLiteral("org.freedesktop.Notifications");
/// What a click on the notice itself invokes.
const QString defaultAction = QStringLiteral("default");

/// The services read markup in a body.
QString plain(const std::string& text) { return QString::fromStdString(text).toHtmlEscaped(); }

QDBusMessage callFor(const Notice& notice, uint replaced) {
    constexpr uchar normalUrgency = 1;
    constexpr int asLongAsUsual = -1;
    const QString application = QLatin1String(Product::bundleIdentifier);
    const QVariantMap hints{
        {QStringLiteral("desktop-entry"), application},
        {QStringLiteral("urgency"), QVariant::fromValue(normalUrgency)},
    };
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Notify"));
    call << QString(QLatin1String(Product::name)) << replaced << application
         << QString::fromStdString(notice.summary) << plain(notice.body)
         << QStringList{defaultAction, QStringLiteral("Show")} << hints << asLongAsUsual;
    return call;
}

} // namespace

SessionNotices::SessionNotices(std::function<QDBusConnection()> connecting)
    : connectToBus(std::move(connecting)) {}

void SessionNotices::show(const Notice& notice, OnChosen chosen) {
    connectOnce();
    token.clear();
    onChosen = std::move(chosen);
    auto* const call = new QDBusPendingCallWatcher(bus->asyncCall(callFor(notice, number)), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call] {
        call->deleteLater();
        shown(*call);
    });
}

void SessionNotices::connectOnce() {
    if (bus)
        return;
    bus = connectToBus();
    bus->connect(service, path, interface, QStringLiteral("ActivationToken"), this,
                 SLOT(activationToken(QDBusMessage)));
    bus->connect(service, path, interface, QStringLiteral("ActionInvoked"), this,
                 SLOT(actionInvoked(QDBusMessage)));
    auto* const running =
        new QDBusServiceWatcher(service, *bus, QDBusServiceWatcher::WatchForUnregistration, this);
    // The next service may have given the number to a notice of somebody else.
    connect(running, &QDBusServiceWatcher::serviceUnregistered, this, [this] { number = 0; });
}

void SessionNotices::shown(const QDBusPendingCallWatcher& call) {
    const QDBusMessage reply = call.reply();
    if (reply.type() == QDBusMessage::ReplyMessage && reply.signature() == QStringLiteral("u"))
        number = reply.arguments().constFirst().toUInt();
}

/// The services tell everybody of everybody's notices.
bool SessionNotices::isAboutShown(const QDBusMessage& signal) const {
    return signal.signature() == QStringLiteral("us") && number != 0
           && signal.arguments().constFirst().toUInt() == number;
}

/// Comes before the action, from a service that hands tokens out.
void SessionNotices::activationToken(const QDBusMessage& signal) {
    if (isAboutShown(signal))
        token = signal.arguments().constLast().toString().toStdString();
}

void SessionNotices::actionInvoked(const QDBusMessage& signal) {
    if (isAboutShown(signal) && signal.arguments().constLast().toString() == defaultAction)
        onChosen(std::exchange(token, {}));
}

std::unique_ptr<Notices> desktopNotices() {
    return std::make_unique<SessionNotices>(&QDBusConnection::sessionBus);
}

} // namespace tallywick

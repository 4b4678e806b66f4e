#include "platform/linux/SessionActivation.h"

#include "base/Product.h"

#include <QCoreApplication>
#include <QDBusMessage>

#include <utility>

namespace tallywick {

namespace {

const QString path = QStringLiteral("/com/corvane/tallywick");
const QString interface = QStringLiteral("org.freedesktop.Application");

constexpr std::chrono::seconds activationLimit{1};

} // namespace

QString activationService(qint64 processId) {
    return QLatin1String(Product::bundleIdentifier) + QStringLiteral(".process%1").arg(processId);
}

SessionActivation::SessionActivation(QDBusConnection sessionBus, std::function<void()> activate)
    : bus(std::move(sessionBus)), onActivate(std::move(activate)) {
    if (!bus.isConnected())
        return;
    // The object first: who finds the name can call it.
    if (bus.registerObject(path, this, QDBusConnection::ExportAllSlots))
        bus.registerService(activationService(QCoreApplication::applicationPid()));
}

SessionActivation::~SessionActivation() {
    if (!bus.isConnected())
        return;
    bus.unregisterService(activationService(QCoreApplication::applicationPid()));
    bus.unregisterObject(path);
}

void SessionActivation::Activate(const QVariantMap&) { onActivate(); }

void SessionActivation::Open(const QStringList&, const QVariantMap&) { onActivate(); }

void SessionActivation::ActivateAction(const QString&, const QVariantList&, const QVariantMap&) {
    onActivate();
}

bool activateApplication(const QDBusConnection& sessionBus, int processId,
                         std::chrono::milliseconds limit) {
    QDBusMessage call = QDBusMessage::createMethodCall(activationService(processId), path,
                                                       interface, QStringLiteral("Activate"));
    call.setAutoStartService(false);
    call << QVariantMap();
    return sessionBus.call(call, QDBus::Block, static_cast<int>(limit.count())).type()
           == QDBusMessage::ReplyMessage;
}

bool activateApplication(int processId) {
    return activateApplication(QDBusConnection::sessionBus(), processId, activationLimit);
}

std::unique_ptr<ActivationListener> listenForActivation(std::function<void()> onActivate) {
    return std::make_unique<SessionActivation>(QDBusConnection::sessionBus(),
                                               std::move(onActivate));
}

} // namespace tallywick

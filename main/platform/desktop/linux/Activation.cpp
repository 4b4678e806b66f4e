#include "platform/desktop/linux/Activation.h"

#include "base/Product.h"

#include <QCoreApplication>
#include <QDBusMessage>

#include <algorithm>
#include <array>
#include <utility>

namespace tallywick {

namespace {

const QString applicationPath = QStringLiteral("/com/corvane/tallywick");
const QString applicationInterface = QStringLiteral("org.freedesktop.Application");

constexpr std::chrono::seconds activationLimit{1};

/// Of Wayland's token and of X11's.
const std::array tokenKeys{QStringLiteral("activation-token"),
                           QStringLiteral("desktop-startup-id")};

/// The action by which nothing is asked for.
const QString noAction = QStringLiteral("Stay");

QString actionOf(Wish wish) {
    const auto* const found = std::ranges::find(launcherActions, wish, &LauncherAction::wish);
    return found == launcherActions.end() ? noAction : QLatin1String(found->name);
}

Wish wishOf(const QString& action) {
    if (action == noAction)
        return Wish::nothing;
    const auto* const found = std::ranges::find_if(
        launcherActions, [&](const auto& known) { return action == QLatin1String(known.name); });
    return found == launcherActions.end() ? Wish::comeForward : found->wish;
}

std::string tokenIn(const QVariantMap& platformData) {
    for (const QString& key : tokenKeys)
        if (const QString token = platformData.value(key).toString(); !token.isEmpty())
            return token.toStdString();
    return {};
}

} // namespace

QString activationService(qint64 processId) {
    return QLatin1String(Product::bundleIdentifier) + QStringLiteral(".process%1").arg(processId);
}

SessionActivation::SessionActivation(QDBusConnection sessionBus, OnActivate activate)
    : bus(std::move(sessionBus)), onActivate(std::move(activate)) {
    if (!bus.isConnected())
        return;
    // The object first: who finds the name can call it.
    if (bus.registerObject(applicationPath, this, QDBusConnection::ExportAllSlots))
        bus.registerService(activationService(QCoreApplication::applicationPid()));
}

SessionActivation::~SessionActivation() {
    if (!bus.isConnected())
        return;
    bus.unregisterService(activationService(QCoreApplication::applicationPid()));
    bus.unregisterObject(applicationPath);
}

void SessionActivation::Activate(const QVariantMap& platformData) {
    onActivate({Wish::comeForward, tokenIn(platformData)});
}

void SessionActivation::Open(const QStringList&, const QVariantMap& platformData) {
    onActivate({Wish::comeForward, tokenIn(platformData)});
}

void SessionActivation::ActivateAction(const QString& action, const QVariantList&,
                                       const QVariantMap& platformData) {
    onActivate({wishOf(action), tokenIn(platformData)});
}

bool activateApplication(const QDBusConnection& sessionBus, int processId,
                         const ActivationRequest& request, std::chrono::milliseconds limit) {
    const bool isPlain = request.wish == Wish::comeForward;
    QDBusMessage call = QDBusMessage::createMethodCall(
        activationService(processId), applicationPath, applicationInterface,
        isPlain ? QStringLiteral("Activate") : QStringLiteral("ActivateAction"));
    call.setAutoStartService(false);
    QVariantMap platformData;
    for (const QString& key : tokenKeys)
        if (!request.launchToken.empty())
            platformData.insert(key, QString::fromStdString(request.launchToken));
    if (!isPlain)
        call << actionOf(request.wish) << QVariantList();
    call << platformData;
    return sessionBus.call(call, QDBus::Block, static_cast<int>(limit.count())).type()
           == QDBusMessage::ReplyMessage;
}

bool activateApplication(int processId, const ActivationRequest& request) {
    return activateApplication(QDBusConnection::sessionBus(), processId, request, activationLimit);
}

std::unique_ptr<ActivationListener> listenForActivation(OnActivate onActivate) {
    return std::make_unique<SessionActivation>(QDBusConnection::sessionBus(),
                                               std::move(onActivate));
}

} // namespace tallywick

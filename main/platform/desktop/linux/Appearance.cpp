#include "platform/desktop/linux/Appearance.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>

#include <cmath>
#include <utility>

namespace tallywick {

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString portalInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString changeSignal = QStringLiteral("SettingChanged");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString accentKey = QStringLiteral("accent-color");
const QString contrastKey = QStringLiteral("contrast");

/// The value of "contrast" of who prefers more of it.
constexpr uint higherContrast = 1;

bool isShare(double value) { return value >= 0 && value <= 1; }

std::uint8_t channel(double share) {
    constexpr double most = 255;
    return static_cast<std::uint8_t>(std::lround(share * most));
}

/// The portal tells with shares out of range that no colour is chosen.
std::optional<RgbColor> colorFrom(const QVariant& value) {
    if (!value.canConvert<QDBusArgument>())
        return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QStringLiteral("(ddd)"))
        return std::nullopt;
    double red = -1;
    double green = -1;
    double blue = -1;
    argument.beginStructure();
    argument >> red >> green >> blue;
    argument.endStructure();
    if (!isShare(red) || !isShare(green) || !isShare(blue))
        return std::nullopt;
    return RgbColor{channel(red), channel(green), channel(blue)};
}

bool isHighContrast(const QVariant& value) {
    return value.metaType() == QMetaType::fromType<uint>() && value.toUInt() == higherContrast;
}

} // namespace

PortalAppearance::PortalAppearance(const QDBusConnection& sessionBus)
    : bus(sessionBus),
      portal(portalService, sessionBus, QDBusServiceWatcher::WatchForRegistration) {}

void PortalAppearance::start(std::function<void()> newHandler) {
    onChange = std::move(newHandler);
    bus.connect(portalService, portalPath, portalInterface, changeSignal, this,
                SLOT(settingChanged(QDBusMessage)));
    connect(&portal, &QDBusServiceWatcher::serviceRegistered, this, &PortalAppearance::read);
    read();
}

void PortalAppearance::read() {
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, portalInterface,
                                                       QStringLiteral("ReadAll"));
    call.setAutoStartService(false);
    call << QStringList{appearance};
    auto* const reading = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(reading, &QDBusPendingCallWatcher::finished, this, [this, reading] {
        reading->deleteLater();
        readingFinished(*reading);
    });
}

void PortalAppearance::readingFinished(QDBusPendingCallWatcher& reading) {
    const QDBusMessage reply = reading.reply();
    if (reply.type() != QDBusMessage::ReplyMessage
        || reply.signature() != QStringLiteral("a{sa{sv}}"))
        return;
    const auto settings =
        qdbus_cast<QMap<QString, QVariantMap>>(reply.arguments().constFirst()).value(appearance);
    const bool accentChanged = take(accentKey, settings.value(accentKey));
    const bool contrastChanged = take(contrastKey, settings.value(contrastKey));
    if (accentChanged || contrastChanged)
        onChange();
}

void PortalAppearance::settingChanged(const QDBusMessage& signal) {
    if (signal.signature() != QStringLiteral("ssv"))
        return;
    const QVariantList arguments = signal.arguments();
    const auto value = arguments[2].value<QDBusVariant>().variant();
    if (arguments[0].toString() == appearance && take(arguments[1].toString(), value))
        onChange();
}

/// Whether the value of this key differs from the one before.
bool PortalAppearance::take(const QString& key, const QVariant& value) {
    if (key == accentKey) {
        const auto color = colorFrom(value);
        return std::exchange(accent, color) != color;
    }
    if (key == contrastKey) {
        const bool high = isHighContrast(value);
        return std::exchange(highContrast, high) != high;
    }
    return false;
}

std::unique_ptr<Appearance> desktopAppearance() {
    return std::make_unique<PortalAppearance>(QDBusConnection::sessionBus());
}

} // namespace tallywick

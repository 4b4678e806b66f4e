#pragma once

#include "platform/desktop/Appearance.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QObject>

class QDBusMessage;
class QDBusPendingCallWatcher;

namespace tallywick {

/// Reads the namespace "org.freedesktop.appearance" of the desktop portal's settings and follows
/// its signal "SettingChanged". A value of another type, or out of range, counts as none.
class PortalAppearance final : public QObject, public Appearance {
    Q_OBJECT

  public:
    explicit PortalAppearance(const QDBusConnection& sessionBus);

    void start(std::function<void()> newHandler) override;
    std::optional<RgbColor> accentColor() const override { return accent; }
    bool prefersHighContrast() const override { return highContrast; }

  private Q_SLOTS:
    void settingChanged(const QDBusMessage& signal);

  private:
    void read();
    void readingFinished(QDBusPendingCallWatcher& reading);
    bool take(const QString& key, const QVariant& value);

    QDBusConnection bus;
    QDBusServiceWatcher portal;
    std::function<void()> onChange;
    std::optional<RgbColor> accent;
    bool highContrast = false;
};

} // namespace tallywick

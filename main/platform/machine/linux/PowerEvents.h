#pragma once

#include "platform/machine/PowerEvents.h"

#include <QDBusConnection>
#include <QObject>

namespace tallywick {

/// Listens to the signal "PrepareForSleep" of org.freedesktop.login1.Manager.
class LogindPowerEvents final : public QObject, public PowerEvents {
    Q_OBJECT

  public:
    explicit LogindPowerEvents(QDBusConnection systemBus);
    ~LogindPowerEvents() override;

    void start(Handlers newHandlers) override;
    void stop() override;

  private Q_SLOTS:
    void prepareForSleep(bool begins);

  private:
    QDBusConnection bus;
    Handlers handlers;
};

} // namespace tallywick

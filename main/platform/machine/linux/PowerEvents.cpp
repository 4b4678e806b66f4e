#include "platform/machine/linux/PowerEvents.h"

#include <utility>

namespace tallywick {

namespace {

const QString loginService = QStringLiteral("org.freedesktop.login1");
const QString loginPath = QStringLiteral("/org/freedesktop/login1");
const QString loginInterface = QStringLiteral("org.freedesktop.login1.Manager");
const QString sleepSignal = QStringLiteral("PrepareForSleep");

} // namespace

LogindPowerEvents::LogindPowerEvents(QDBusConnection systemBus) : bus(std::move(systemBus)) {}

LogindPowerEvents::~LogindPowerEvents() { LogindPowerEvents::stop(); }

void LogindPowerEvents::start(Handlers newHandlers) {
    handlers = std::move(newHandlers);
    bus.connect(loginService, loginPath, loginInterface, sleepSignal, this,
                SLOT(prepareForSleep(bool)));
}

void LogindPowerEvents::stop() {
    bus.disconnect(loginService, loginPath, loginInterface, sleepSignal, this,
                   SLOT(prepareForSleep(bool)));
    handlers = {};
}

void LogindPowerEvents::prepareForSleep(bool begins) {
    const auto& handler = begins ? handlers.willSleep : handlers.didWake;
    if (handler)
        handler();
}

std::unique_ptr<PowerEvents> systemPowerEvents() {
    return std::make_unique<LogindPowerEvents>(QDBusConnection::systemBus());
}

} // namespace tallywick

#include "platform/GlobalMenu.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

namespace tallywick {

bool desktopShowsMenus() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected()
           && bus.interface()
                  ->isServiceRegistered(QStringLiteral("com.canonical.AppMenu.Registrar"))
                  .value();
}

} // namespace tallywick

// Stands for logind on a private bus: sends "PrepareForSleep" as the lines of its input tell it,
// "sleep" or "wake". Says "ready" when it owns the name.

#include <QDBusConnection>
#include <QDBusMessage>

#include <cstdlib>
#include <iostream>
#include <string>

int main() {
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerService(QStringLiteral("org.freedesktop.login1")))
        return EXIT_FAILURE;
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        QDBusMessage signal = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"));
        signal << (line == "sleep");
        if (!bus.send(signal))
            return EXIT_FAILURE;
    }
}

#pragma once

#include "platform/desktop/Notices.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

#include <functional>
#include <optional>
#include <string>

class QDBusPendingCallWatcher;

namespace tallywick {

/// Speaks to org.freedesktop.Notifications (Desktop Notifications Specification 1.2). Of a service
/// that is not running the bus is asked to start it.
class SessionNotices final : public QObject, public Notices {
    Q_OBJECT

  public:
    /// The bus is connected to for the first notice.
    explicit SessionNotices(std::function<QDBusConnection()> connectToBus);

    void show(const Notice& notice, OnChosen onChosen) override;

  private Q_SLOTS:
    void activationToken(const QDBusMessage& signal);
    void actionInvoked(const QDBusMessage& signal);

  private:
    void connectOnce();
    void shown(const QDBusPendingCallWatcher& call);
    bool isAboutShown(const QDBusMessage& signal) const;

    const std::function<QDBusConnection()> connectToBus;
    std::optional<QDBusConnection> bus;
    uint number = 0; ///< of the notice shown last, as the running service counts; 0 without one
    std::string token;
    OnChosen onChosen;
};

} // namespace tallywick

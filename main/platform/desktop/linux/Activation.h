#pragma once

#include "platform/desktop/Activation.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <chrono>

namespace tallywick {

/// The name under which a process of the application is asked.
QString activationService(qint64 processId);

/// Serves org.freedesktop.Application on a bus. Whatever it is asked for besides the launcher's
/// actions, it only comes forward.
class SessionActivation final : public QObject, public ActivationListener {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

  public:
    SessionActivation(QDBusConnection sessionBus, OnActivate activate);
    ~SessionActivation() override;

  public Q_SLOTS: // named as the interface names them
    void Activate(const QVariantMap& platformData);
    void Open(const QStringList& addresses, const QVariantMap& platformData);
    void ActivateAction(const QString& action, const QVariantList& parameters,
                        const QVariantMap& platformData);

  private:
    QDBusConnection bus;
    const OnActivate onActivate;
};

/// `activateApplication` on a bus, within a time.
[[nodiscard]] bool activateApplication(const QDBusConnection& sessionBus, int processId,
                                       const ActivationRequest& request,
                                       std::chrono::milliseconds limit);

} // namespace tallywick

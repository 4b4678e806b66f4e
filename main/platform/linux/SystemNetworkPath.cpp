#include "platform/NetworkPath.h"

#include <QNetworkInformation>
#include <QObject>

#include <optional>
#include <utility>

namespace tallywick {

namespace {

using Reachability = QNetworkInformation::Reachability;

std::optional<NetworkPathStatus> statusOf(Reachability reachability) {
    switch (reachability) {
    case Reachability::Online:
        return NetworkPathStatus::satisfied;
    case Reachability::Disconnected:
    case Reachability::Local:
    case Reachability::Site:
        return NetworkPathStatus::unsatisfied;
    case Reachability::Unknown:
        break;
    }
    return std::nullopt;
}

class SystemNetworkPath final : public NetworkPath {
  public:
    void start(std::function<void(NetworkPathStatus)> onUpdate) override {
        if (!QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability))
            return;
        auto* information = QNetworkInformation::instance();
        const auto report = [handler = std::move(onUpdate)](Reachability reachability) {
            if (const auto status = statusOf(reachability))
                handler(*status);
        };
        context = std::make_unique<QObject>();
        QObject::connect(information, &QNetworkInformation::reachabilityChanged, context.get(),
                         report);
        QMetaObject::invokeMethod(
            context.get(), [information, report] { report(information->reachability()); },
            Qt::QueuedConnection);
    }

    void stop() override { context.reset(); }

  private:
    std::unique_ptr<QObject> context; ///< the handler is connected as long as it lives
};

} // namespace

std::unique_ptr<NetworkPath> systemNetworkPath() { return std::make_unique<SystemNetworkPath>(); }

} // namespace tallywick

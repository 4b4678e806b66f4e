#pragma once

#include <functional>
#include <memory>

namespace tallywick {

/// Whether this computer has a way to the Internet.
enum class NetworkPathStatus { satisfied, unsatisfied };

/// Watches the way to the Internet.
///
/// Used on the main thread only; the handler is called there, from its event loop.
class NetworkPath {
  public:
    virtual ~NetworkPath() = default;

    /// Begins to report: the present status soon, then every change. Where the system does not
    /// know, the handler is never called.
    virtual void start(std::function<void(NetworkPathStatus)> onUpdate) = 0;

    /// The handler is not called any more.
    virtual void stop() = 0;
};

/// There is a way as long as the system has a default route.
std::unique_ptr<NetworkPath> systemNetworkPath();

} // namespace tallywick

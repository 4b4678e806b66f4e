#pragma once

#include <functional>
#include <memory>
#include <string>

namespace tallywick {

/// Listens, as long as it lives, to other copies of the application and to the desktop asking this
/// one to come forward. Main thread only.
class ActivationListener {
  public:
    virtual ~ActivationListener() = default;
};

/// Called with the launch token (`WindowActivation.h`) of whoever asks, which may be empty.
using OnActivate = std::function<void(const std::string& launchToken)>;

/// Calls `onActivate` from the event loop of the main thread whenever this process is asked to come
/// forward. Where processes cannot be asked, it is never called.
std::unique_ptr<ActivationListener> listenForActivation(OnActivate onActivate);

/// Asks the copy of the application that runs as this process to come forward, and hands this
/// process's launch token over to it. Nothing is started. Whether it has answered; waits at most a
/// second. Needs no event loop.
[[nodiscard]] bool activateApplication(int processId, const std::string& launchToken);

} // namespace tallywick

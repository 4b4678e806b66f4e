#pragma once

#include <functional>
#include <memory>

namespace tallywick {

/// Tells when the computer is about to sleep and when it has woken up.
///
/// Used on the main thread only; handlers are called there, from its event loop.
class PowerEvents {
  public:
    struct Handlers {
        std::function<void()> willSleep;
        std::function<void()> didWake;
    };

    virtual ~PowerEvents() = default;

    /// Begins to report. Where the system reports nothing, no handler is ever called.
    virtual void start(Handlers handlers) = 0;

    /// No handler is called any more.
    virtual void stop() = 0;
};

/// The system's power management: logind's announcements on the system bus.
std::unique_ptr<PowerEvents> systemPowerEvents();

} // namespace tallywick

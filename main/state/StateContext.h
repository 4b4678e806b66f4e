#pragma once

#include "base/TaskRelay.h"
#include "base/Time.h"
#include "state/UtilityFields.h"

#include <functional>

namespace tallywick {

/// What the concerns of the state are given in common: the fields that are shown, the clock, the
/// way back to the main thread, and whether there is anything left to do. It outlives them.
///
/// Main thread only.
class StateContext {
  public:
    /// The ways to the whole state, for a concern after which other readings are due too.
    struct Owner {
        std::function<void()> changed; ///< once for all changes of one pass of the event loop
        std::function<void()> tick;
        std::function<void()> refreshNow;
    };

    /// `time` is called on any thread.
    StateContext(Clock time, Owner given) : clock(std::move(time)), owner(std::move(given)) {}

    const UtilityFields& fields() const { return published; }
    /// The fields, to write to: announces the change.
    UtilityFields& change();
    /// Puts the time on show.
    void advanceClock() { change().now = clock(); }

    /// Whether the state has ended, for good.
    bool isStopped() const { return stopped; }
    void stop() { stopped = true; }
    /// Whether it has, or makes way for an installation: nothing is to be begun or applied.
    bool isPaused() const { return stopped || published.maintenance; }

    /// Wraps a handler for a service that calls back on another thread. The handler is called on
    /// the main thread, and not at all once the state is gone.
    template <typename Handler>
    auto onMainThread(Handler handler) {
        return [post = relay.entrance(), handler](const auto&... results) {
            post([handler, results...] { handler(results...); });
        };
    }

    const Clock clock;

    /// To be called by a concern.
    void tick() { owner.tick(); }
    void refreshNow() { owner.refreshNow(); }

  private:
    const Owner owner;
    UtilityFields published;
    bool changeAnnounced = false;
    bool stopped = false;
    TaskRelay relay;
};

} // namespace tallywick

#pragma once

#include "base/Mutex.h"
#include "codex/HelperLauncher.h"

#include <cstdint>
#include <memory>

namespace tallywick {

/// The helper processes that an account service runs, and the epoch by which its operations know
/// whether they still count.
///
/// There is room for two: the bridge, which serves polls and sign-ins, and the probe, which is
/// being validated. An operation begins in an epoch; `supersede` ends that epoch and takes both
/// helpers away, at once and from any thread, even while a start hangs. What the operation then
/// puts in or waits for is refused.
///
/// Any thread. The lock is never held while a helper is closed or asked.
class HelperSlots {
  public:
    using Transport = std::shared_ptr<AccountTransport>;
    using Epoch = std::int64_t;
    enum class Slot { bridge, probe };

    /// The epoch of what begins now.
    Epoch currentEpoch() EXCLUDES(lock);
    bool isCurrent(Epoch epoch) EXCLUDES(lock);
    /// Throws `ConnectionIssue::stopped` when the epoch has ended.
    void requireCurrent(Epoch epoch) EXCLUDES(lock);
    /// Ends the epoch: closes the helpers and gives up the start that is waited for. `forGood`, no
    /// epoch is current any more.
    void supersede(bool forGood) EXCLUDES(lock);

    /// The helper that was started, once it runs. Throws what the start threw,
    /// `BridgeFailure::timeout` at its deadline, and `ConnectionIssue::stopped` as soon as the
    /// epoch has ended.
    Transport await(const HelperLauncher::Start& start, Epoch epoch) EXCLUDES(lock);

    /// A number for the next helper, from 1 on: by it is told whose an event is.
    std::int64_t newNumber() EXCLUDES(lock);
    /// Puts a helper into its slot, with its number where its events count. When the epoch has
    /// ended it is closed instead, and `ConnectionIssue::stopped` thrown.
    void put(Slot slot, const Transport& helper, Epoch epoch, std::int64_t number = 0)
        EXCLUDES(lock);
    /// Empties the slot and closes what was in it.
    void close(Slot slot) EXCLUDES(lock);

    /// The helper in the bridge's slot, or null.
    Transport bridge() EXCLUDES(lock);
    bool isBridge(std::int64_t number) EXCLUDES(lock);

    /// Marks that something was published from the bridge which was read at this revision: from
    /// here on a report of the helper's ends it. False when one has come already, which leaves the
    /// mark as it was. Throws `ConnectionIssue::stopped` when `helper` is not the bridge any more.
    bool publish(const Transport& helper, std::int64_t revision) EXCLUDES(lock);
    /// Takes the mark back for a report of the bridge. False when there was none, or when another
    /// helper made it.
    bool retract(std::int64_t number) EXCLUDES(lock);

  private:
    /// Nothing, or one helper process and all that is true of that process only.
    struct Helper {
        Transport transport;     ///< null: the slot is empty
        std::int64_t number = 0; ///< another for each process
        bool published = false;  ///< a snapshot was made of it since it last reported a change
    };

    bool isCurrentLocked(Epoch epoch) const REQUIRES(lock);
    Helper& at(Slot slot) REQUIRES(lock);

    Mutex lock;
    Helper bridgeSlot GUARDED_BY(lock);
    Helper probeSlot GUARDED_BY(lock);
    DetachedCall<Transport>::Pointer awaited GUARDED_BY(lock); ///< the start that is waited for
    std::int64_t lastNumber GUARDED_BY(lock) = 0;
    Epoch epoch GUARDED_BY(lock) = 0;
    bool stopped GUARDED_BY(lock) = false;
};

} // namespace tallywick

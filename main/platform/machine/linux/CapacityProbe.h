#pragma once

#include "platform/machine/linux/MountTable.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tallywick {

/// Sizes of a mounted file system in bytes; one that does not fit a signed number is absent.
struct Capacity {
    std::optional<std::int64_t> total;     ///< what df shows as the size
    std::optional<std::int64_t> available; ///< what this user may still fill

    bool operator==(const Capacity&) const = default;
};

/// Asks the system, which may never answer. Absent when the mount point cannot be reached, is no
/// folder, or something else is mounted there by now.
std::optional<Capacity> askCapacity(const Mount& mount);

/// Asks for capacities without being held up by a file system that does not answer (a dying disk, a
/// program's file system whose program hangs). Each question runs on a thread of its own, which is
/// left behind until it has its answer: nothing waits for it, the destructor and the program's end
/// included.
///
/// Every operation may be called from any thread.
class CapacityProbe {
  public:
    /// Called on the threads of the questions; may outlive the probe; must not throw.
    using Ask = std::function<std::optional<Capacity>(const Mount&)>;

    /// So many unanswered questions are left behind at most; no other is asked until one of them
    /// has its answer.
    static constexpr std::size_t maximumUnanswered = 4;

    explicit CapacityProbe(Ask ask);

    /// The capacity now; after `limit` without an answer the last one known. A mount that still
    /// owes an answer is not asked again, and the last one known is given at once.
    std::optional<Capacity> capacity(const Mount& mount, std::chrono::milliseconds limit);

    /// Forgets the answers of all other mounts.
    void keepOnly(const std::vector<Mount>& mounts);

  private:
    struct Shared;
    std::shared_ptr<Shared> shared;
};

} // namespace tallywick

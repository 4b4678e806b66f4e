#pragma once

#include "base/Time.h"

#include <cstdint>
#include <optional>

namespace tallywick {

/// The gate that lets an expired session be recovered at most once every five minutes.
class RecoveryPolicy {
  public:
    static constexpr double cooldown = 300; ///< seconds

    /// Whether a recovery may run now; a yes is recorded as the last attempt.
    ///
    /// The attempt holds the gate for `cooldown` seconds on both sides of its time: where the clock
    /// was set back by more than that, the attempt lies in a future that need not be waited for.
    bool claim(Timestamp now);

  private:
    std::optional<Timestamp> lastAttempt;
};

/// Seconds to wait after the given number of consecutive failures: 15, doubled with each further
/// failure, at most 300.
double retryDelay(std::int64_t failures);

} // namespace tallywick

#pragma once

#include "base/Json.h"
#include "base/Time.h"

#include <optional>
#include <string>

namespace tallywick {

/// The weekly allowance of the Codex limit.
struct Quota {
    double used = 0;     ///< percentage used; a whole number from 0 to 100
    Timestamp reset = 0; ///< when the allowance resets

    bool operator==(const Quota&) const = default;
};

/// Reads the result of "account/rateLimits/read". Absent when it reports no seven-day window of the
/// Codex limit whose every number is an integer in its range; nothing is rounded or clamped.
std::optional<Quota> quotaFromRateLimits(const Json& result);

/// The time left until the reset in days, hours and minutes, "2d  5h  13m"; "0m" when it has
/// passed.
std::string resetCountdown(Timestamp reset, Timestamp now);

} // namespace tallywick

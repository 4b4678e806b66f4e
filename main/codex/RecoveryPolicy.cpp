#include "codex/RecoveryPolicy.h"

#include <algorithm>
#include <cmath>

namespace tallywick {

bool RecoveryPolicy::claim(Timestamp now) {
    if (lastAttempt && std::abs(now - *lastAttempt) < cooldown)
        return false;
    lastAttempt = now;
    return true;
}

double retryDelay(std::int64_t failures) {
    constexpr double first = 15;
    constexpr double longest = 300;
    const auto doublings = std::clamp<std::int64_t>(failures, 1, 6) - 1;
    return std::min(std::ldexp(first, static_cast<int>(doublings)), longest);
}

} // namespace tallywick

#include "codex/Quota.h"

#include <algorithm>
#include <cstdint>

namespace tallywick {

namespace {

constexpr std::int64_t weekInMinutes = 10'080;
/// 2000-01-01 and 3000-01-01 00:00:00 UTC: a reset outside of them is no date but a mistake.
constexpr std::int64_t earliestReset = 946'684'800;
constexpr std::int64_t latestReset = 32'503'680'000;

/// The snapshot of the Codex limit among the result's limits, or null.
const Json* codexLimit(const Json& result) {
    if (const Json* limits = objectMember(result, "rateLimitsByLimitId"))
        return objectMember(*limits, "codex");
    const Json* limit = objectMember(result, "rateLimits");
    if (!limit)
        return nullptr;
    const std::string* limitId = stringMember(*limit, "limitId");
    return !limitId || *limitId == "codex" ? limit : nullptr;
}

std::optional<Quota> quotaFromWindow(const Json& window) {
    const auto duration = integerValue(member(window, "windowDurationMins"));
    const auto used = integerValue(member(window, "usedPercent"));
    const auto reset = integerValue(member(window, "resetsAt"));
    if (duration != weekInMinutes || !used || *used < 0 || *used > 100 || !reset
        || *reset < earliestReset || *reset > latestReset)
        return std::nullopt;
    return Quota{.used = static_cast<double>(*used), .reset = static_cast<Timestamp>(*reset)};
}

} // namespace

std::optional<Quota> quotaFromRateLimits(const Json& result) {
    const Json* limit = codexLimit(result);
    if (!limit)
        return std::nullopt;
    for (const char* name : {"primary", "secondary"}) {
        const Json* window = objectMember(*limit, name);
        if (const auto quota = window ? quotaFromWindow(*window) : std::nullopt)
            return quota;
    }
    return std::nullopt;
}

std::string resetCountdown(Timestamp reset, Timestamp now) {
    constexpr double longest = 1e12; // seconds; more could overflow below
    constexpr std::int64_t minute = 60;
    constexpr std::int64_t hour = 60 * minute;
    constexpr std::int64_t day = 24 * hour;
    const auto seconds = static_cast<std::int64_t>(std::min(std::max(0.0, reset - now), longest));
    std::string text;
    if (seconds >= day)
        text += std::to_string(seconds / day) + "d  ";
    if (seconds >= hour)
        text += std::to_string(seconds % day / hour) + "h  ";
    return text + std::to_string(seconds % hour / minute) + "m";
}

} // namespace tallywick

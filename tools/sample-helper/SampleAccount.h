#pragma once

#include "base/Time.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tallywick::sample {

/// Whole seconds since 1970-01-01 00:00:00 UTC, from year 2000 on.
using Second = std::int64_t;

/// An account that nobody has. How much it has used is a function of the account and the time
/// alone, so that every process that asks at the same time learns the same, and no answer falls as
/// time passes but at a reset.
struct SampleAccount {
    std::string email;
    std::string accountId;
    std::string planType;
    Second opened = 0;                ///< the start of its first day
    Second weekOffset = 0;            ///< from Thursday 00:00 UTC to its weekly reset
    std::int64_t weeklyAllowance = 1; ///< tokens
    std::uint64_t seed = 0;           ///< what makes its days its own
};

SampleAccount firstSampleAccount();
SampleAccount secondSampleAccount();

/// Tokens used from one moment up to another. Adds up: A to B and B to C together are A to C.
std::int64_t tokensBetween(const SampleAccount& account, Second from, Second to);

/// One allowance and how much of it is used.
struct AllowanceWindow {
    int usedPercent = 0; ///< 0 to 100
    int minutes = 0;     ///< its length
    Second resetsAt = 0; ///< always in the future

    bool operator==(const AllowanceWindow&) const = default;
};

AllowanceWindow weeklyWindow(const SampleAccount& account, Second now);
AllowanceWindow fiveHourWindow(const SampleAccount& account, Second now);

struct DailyTokens {
    std::string day; ///< "yyyy-MM-dd", UTC
    std::int64_t tokens = 0;
};

/// Every day from the account's first to the one that `now` lies in, the oldest first. A clock that
/// is set before the first day still has its own.
std::vector<DailyTokens> dailyTokens(const SampleAccount& account, Second now);

} // namespace tallywick::sample

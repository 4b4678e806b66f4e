#pragma once

#include <functional>
#include <limits>

namespace tallywick {

/// Seconds since 1970-01-01 00:00:00 UTC.
using Timestamp = double;

/// Earlier than any real time: a due time set to it is always due.
inline constexpr Timestamp distantPast = -std::numeric_limits<double>::infinity();

/// Whether the time lies in the years from 2000 up to the beginning of 3000 (UTC): a date outside
/// of them is none but a mistake.
constexpr bool isPlausibleDate(Timestamp time) {
    constexpr Timestamp year2000 = 946'684'800;
    constexpr Timestamp year3000 = 32'503'680'000;
    return time >= year2000 && time <= year3000;
}

/// Where an object that needs the time takes it from; tests pass their own.
using Clock = std::function<Timestamp()>;

/// The computer's clock. It can be set back by its user.
Timestamp systemNow();

} // namespace tallywick

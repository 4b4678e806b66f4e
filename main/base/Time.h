#pragma once

#include <functional>
#include <limits>

namespace tallywick {

/// Seconds since 1970-01-01 00:00:00 UTC.
using Timestamp = double;

/// Earlier than any real time: a due time set to it is always due.
inline constexpr Timestamp distantPast = -std::numeric_limits<double>::infinity();

/// Where an object that needs the time takes it from; tests pass their own.
using Clock = std::function<Timestamp()>;

/// The computer's clock. It can be set back by its user.
Timestamp systemNow();

} // namespace tallywick

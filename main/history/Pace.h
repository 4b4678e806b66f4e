#pragma once

#include "base/Time.h"
#include "codex/AccountAnswers.h"
#include "history/UsageHistory.h"

#include <optional>
#include <span>

namespace tallywick {

/// How a reading of the weekly allowance compares with a week that is used up evenly, and how long
/// it will last.
struct Pace {
    double ahead = 0; ///< percentage points used beyond an even pace; negative below it
    bool isUsedUp = false;
    /// When the allowance will have been used up, or `reset` when it lasts until then. Absent when
    /// there are too few readings to tell, and when it is used up.
    std::optional<Timestamp> lastsUntil;
    Timestamp reset = 0; ///< when the week ends

    bool operator==(const Pace&) const = default;
};

/// The pace of a reading that was observed at the time `observedAt`. Absent when that does not lie
/// in the seven days before the reading's reset: one of the two clocks is wrong.
///
/// The rate is that of the last 24 hours. What was not observed of them counts as even: between two
/// readings, from the beginning of the week, when nothing was used, to the first reading, and
/// before the week at the even pace; so one busy hour weighs as an hour. A rate needs three
/// readings of the week, this one among them, that span an hour.
///
/// `samples` are those kept of the same account, in ascending order of their timestamps; those of
/// another week, or from after `observedAt`, count for nothing. A pure function.
std::optional<Pace> paceOf(const Quota& quota, Timestamp observedAt,
                           std::span<const UsageSample> samples);

} // namespace tallywick

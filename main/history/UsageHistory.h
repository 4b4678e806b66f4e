#pragma once

#include "base/Time.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

/// One stored reading of a weekly allowance. Two samples of one account with the same timestamp are
/// the same reading.
struct UsageSample {
    Timestamp timestamp = 0;           ///< when the reading was observed
    double usedPercent = 0;            ///< 0 to 100
    Timestamp reset = 0;               ///< when the allowance resets
    std::string accountHash;           ///< see `isAccountHash`
    std::optional<bool> startsSegment; ///< true when no line joins it to the reading before

    bool operator==(const UsageSample&) const = default;
};

/// How long a sample is kept, in seconds.
inline constexpr Timestamp historyRetention = 14 * 86'400;
/// Most samples kept, over all accounts together.
inline constexpr std::size_t maximumSamples = 4'096;
/// Most samples kept that lie ahead of the clock, over all accounts together.
inline constexpr std::size_t maximumSamplesAhead = 4'096;
/// Most segments kept, over all accounts together.
inline constexpr std::size_t maximumSegments = 4'096;
/// Length in seconds of the slots, counted from 1970, of which a segment keeps at most the first
/// and the last sample.
inline constexpr Timestamp thinningSlot = 600;
/// Readings of an account that are further apart, in seconds, are not joined by a line.
inline constexpr Timestamp longestGap = 1'800;

/// Whether the text has the form of an account hash: a SHA-256 digest as 64 hexadecimal digits of
/// either case.
bool isAccountHash(std::string_view text);

/// The samples worth keeping at the time `now`, in ascending order of their timestamps. A pure
/// function, fit for samples from anywhere: what is out of range, older than the retention, later
/// than `now` or a duplicate is dropped.
///
/// Each account's samples are cut into segments: where a sample says so, where the reset changes,
/// where usage falls and at gaps. Exactly the first sample of each segment in the result has
/// `startsSegment` true, every other has it absent. Within the limits above every segment keeps its
/// last sample and, as far as the limits go, its first and others evenly spread; the newest
/// segments come first.
///
/// The result of a list that fits the limits once thinned is its own result. Spreading a longer
/// list can open new gaps, at which a further pass then starts segments; it drops no sample.
///
/// Takes time proportional to n log n.
std::vector<UsageSample> normalise(std::span<const UsageSample> samples, Timestamp now);

/// The samples that `normalise` drops for nothing but being later than `now`, in ascending order of
/// their timestamps, the first of doubles alone. Of more than `maximumSamplesAhead` the farthest
/// are dropped.
std::vector<UsageSample> samplesAhead(std::span<const UsageSample> samples, Timestamp now);

} // namespace tallywick

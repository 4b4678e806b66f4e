#pragma once

#include "history/UsageHistory.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

/// Most bytes of a history file that are read or written. The most samples there can be, with those
/// ahead of the clock, take at most nine tenths, and usually two thirds.
inline constexpr std::size_t maximumHistoryBytes = 2'097'152;

/// The content of the history file: a JSON array of one object per sample, on one line, its members
/// in ascending order of their names. Its times count from the start of 2001, unlike those in
/// memory; every number reads back exactly, for times in the years that `normalise` lets pass.
///
/// `samples` must be plausible, as `normalise` and `samplesAhead` leave them: JSON has no form for
/// numbers that are none.
std::string encodeHistory(std::span<const UsageSample> samples);

/// The samples of a history file as they stand there, not normalised. Absent when anything is not
/// of its form: every member but "startsSegment" must be there and of its type, and
/// "startsSegment", where present, true or false; null is neither. Members of other names are
/// passed over.
std::optional<std::vector<UsageSample>> decodeHistory(std::string_view text);

} // namespace tallywick

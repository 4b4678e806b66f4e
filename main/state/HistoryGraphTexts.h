#pragma once

#include "history/UsageHistory.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

/// What is said about the graph of the allowance week. All texts are UTF-8.
namespace tallywick {

/// Its name for a screen reader.
inline constexpr std::string_view historyGraphLabel = "Current weekly usage history";

/// Its value for a screen reader.
std::string historyGraphValue(std::size_t points);

/// What it tells when it is pointed at. Takes the samples that it shows, in ascending order of
/// their timestamps; the date of the first is written in the short form of the default locale.
std::string historyGraphHelp(std::span<const UsageSample> weekSamples);

} // namespace tallywick

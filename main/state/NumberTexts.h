#pragma once

#include "base/Time.h"
#include "codex/AccountAnswers.h"
#include "hardware/HardwareSnapshot.h"
#include "history/HistoryGraphModel.h"
#include "history/Pace.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The texts that stand for numbers and times, on the screen and for a screen reader. Pure
/// functions; the decimal point is a full stop in every locale. Figures on the screen round an
/// exact half to the even neighbour, as printf does; what a screen reader says rounds it away from
/// zero.
namespace tallywick {

std::string weeklyUsageText(const std::optional<Quota>& quota); ///< "42% used"
std::string remainingText(const std::optional<Quota>& quota);   ///< "58% remaining"
std::string usageFigure(const std::optional<Quota>& quota);     ///< "42", the big number

/// The load of the CPU or the memory: "42%".
std::string loadText(std::optional<double> percent);

/// Free and total space of a volume: "12.5 / 476.9 GiB".
std::string capacityText(const VolumeInfo& volume);

/// A count of tokens: "1.5K", "123.5M", "2.5B", below a thousand all its digits, "—" when absent.
std::string compactTokenCount(std::optional<std::int64_t> count);

/// The title of the card of the latest day: "2025-01-03 · TOKENS".
std::string latestDayTitle(const TokenActivity& tokens);

/// What a card of a token count tells when it is pointed at: how far the count is to be trusted,
/// and all its digits.
std::string tokenTooltip(std::string_view tokenStatus, std::optional<std::int64_t> count);

/// The time left until the reset; absent without a reading.
std::optional<std::string> resetText(const std::optional<Quota>& quota, Timestamp now);

/// Hours and minutes of the local time as the default locale writes them, without seconds.
std::string shortTime(Timestamp time);

/// Date and time of day in the local time zone, the same in every locale: "2026-11-24 20:22".
std::string localDateTime(Timestamp time);

/// "7% under an even pace", "7% over an even pace" or "even".
std::string paceText(const Pace& pace);

/// How long the allowance lasts at the present rate: "the reset", a date and time, "used up", or
/// that there are too few readings to tell.
std::string lastsUntilText(const Pace& pace);

/// Both as a sentence: "7% under an even pace. At the rate of the last 24 hours it lasts until the
/// reset." Empty without one, and when its week is over.
std::string paceSentence(const std::optional<Pace>& pace, Timestamp now);

/// A window by its length: "5-hour window", "90-minute window".
std::string windowName(const ShorterWindow& window);

/// "12% used, resets 14:20", with the date when the window is longer than a day.
std::string windowText(const ShorterWindow& window);

/// The shorter window of a reading unless it has ended: "5-hour window: 12% used, resets 14:20";
/// empty without one.
std::string shorterWindowSentence(const std::optional<Quota>& quota, Timestamp now);

/// "Current account history: 12 samples"
std::string historyCountText(std::size_t samples);

/// What a screen reader says for the weekly meter: "42 percent used".
std::string meterAccessibilityValue(const std::optional<Quota>& quota);

/// What a screen reader says for a load: "42 percent".
std::string loadAccessibilityValue(std::optional<double> percent);

// The graph of the allowance week

/// Its name for a screen reader.
inline constexpr std::string_view historyGraphLabel = "Current weekly usage history";

/// Its value for a screen reader; with the sentence of the pace, unless that is empty.
std::string historyGraphValue(const HistoryGraph& graph, std::string_view pace = {});

/// What it tells when it is pointed at, behind the sentence of the pace; its date is written in the
/// short form of the default locale.
std::string historyGraphHelp(const HistoryGraph& graph, std::string_view pace = {});

/// One of its readings: "Thu 14:05 · 37%".
std::string readingText(const HistoryGraphModel::Reading& reading);
/// What stands where there is none.
inline constexpr std::string_view noReadings = "no readings";

} // namespace tallywick

#include "history/Pace.h"

#include "history/HistoryGraphModel.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

namespace tallywick {

namespace {

using HistoryGraphModel::week;

// Seconds.
constexpr Timestamp rateSpan = 86'400;
constexpr Timestamp shortestSpan = 3'600;

constexpr std::size_t fewestReadings = 3;
constexpr double evenRate = 100 / week; // percentage points in a second

/// What was used at a time of the week.
struct Usage {
    Timestamp time;
    double percent;
};

/// The readings of the week that ends with the quota's reset, and the present one as the last.
std::vector<Usage> readingsOfWeek(const Quota& quota, Timestamp observedAt,
                                  std::span<const UsageSample> samples) {
    std::vector<Usage> readings;
    for (const UsageSample& sample :
         HistoryGraphModel::weekSamples(samples, observedAt, quota.reset))
        if (sample.timestamp < observedAt)
            readings.push_back({sample.timestamp, sample.usedPercent});
    readings.push_back({observedAt, quota.used});
    return readings;
}

/// What had been used at that time, between the beginning of the week and the last reading; before
/// the week it is what an even pace would have had left to use.
double usedAt(Timestamp time, Timestamp weekStart, const std::vector<Usage>& readings) {
    if (time <= weekStart)
        return evenRate * (time - weekStart);
    const auto next = std::ranges::lower_bound(readings, time, {}, &Usage::time);
    const Usage before = next == readings.begin() ? Usage{weekStart, 0} : *std::prev(next);
    return before.percent
           + (next->percent - before.percent) * (time - before.time) / (next->time - before.time);
}

/// Percentage points in a second over the last 24 hours; absent when too little was observed.
std::optional<double> rateOf(Timestamp weekStart, const std::vector<Usage>& readings) {
    const Usage& last = readings.back();
    if (readings.size() < fewestReadings || last.time - readings.front().time < shortestSpan)
        return std::nullopt;
    return (last.percent - usedAt(last.time - rateSpan, weekStart, readings)) / rateSpan;
}

/// When all is used at that rate, and at the latest `reset`.
Timestamp endAtRate(double rate, const Usage& last, Timestamp reset) {
    const double left = 100 - last.percent;
    return rate * (reset - last.time) > left ? last.time + left / rate : reset;
}

} // namespace

std::optional<Pace> paceOf(const Quota& quota, Timestamp observedAt,
                           std::span<const UsageSample> samples) {
    const Timestamp weekStart = quota.reset - week;
    if (observedAt < weekStart || observedAt >= quota.reset)
        return std::nullopt;
    Pace pace{.ahead = quota.used - evenRate * (observedAt - weekStart),
              .isUsedUp = quota.used >= 100,
              .lastsUntil = std::nullopt,
              .reset = quota.reset};
    const auto readings = readingsOfWeek(quota, observedAt, samples);
    if (const auto rate = rateOf(weekStart, readings); rate && !pace.isUsedUp)
        pace.lastsUntil = endAtRate(*rate, readings.back(), quota.reset);
    return pace;
}

} // namespace tallywick

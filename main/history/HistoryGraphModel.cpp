#include "history/HistoryGraphModel.h"

#include <algorithm>
#include <cmath>

namespace tallywick::HistoryGraphModel {

namespace {

/// Resets of one allowance week differ by less, in seconds.
constexpr Timestamp resetTolerance = 1;

Timestamp weekEnd(Timestamp now, std::optional<Timestamp> reset) { return reset.value_or(now); }

bool isSameWeek(Timestamp reset, Timestamp other) {
    return std::abs(reset - other) < resetTolerance;
}

bool isJoined(const UsageSample& sample, const UsageSample& previous) {
    return !sample.startsSegment.value_or(false)
           && sample.timestamp - previous.timestamp <= longestGap
           && isSameWeek(sample.reset, previous.reset) && sample.usedPercent >= previous.usedPercent
           && sample.accountHash == previous.accountHash;
}

} // namespace

std::vector<UsageSample> weekSamples(std::span<const UsageSample> samples, Timestamp now,
                                     std::optional<Timestamp> reset) {
    const Timestamp end = weekEnd(now, reset);
    const Timestamp latest = std::min(now, end);
    std::vector<UsageSample> selected;
    std::ranges::copy_if(samples, std::back_inserter(selected), [&](const UsageSample& sample) {
        return sample.timestamp >= end - week && sample.timestamp <= latest
               && sample.usedPercent >= 0 && sample.usedPercent <= 100
               && (!reset || isSameWeek(sample.reset, *reset));
    });
    std::ranges::stable_sort(selected, {}, &UsageSample::timestamp);
    return selected;
}

HistoryGraph graph(std::span<const UsageSample> samples, Timestamp now,
                   std::optional<Timestamp> reset) {
    const Timestamp start = weekEnd(now, reset) - week;
    const std::vector<UsageSample> shown = weekSamples(samples, now, reset);
    HistoryGraph graph;
    graph.start = start;
    graph.points.reserve(shown.size());
    const UsageSample* previous = nullptr;
    for (const UsageSample& sample : shown) {
        const double across = std::clamp((sample.timestamp - start) / week, 0.0, 1.0);
        const double down = std::clamp(1 - sample.usedPercent / 100, 0.0, 1.0);
        graph.points.push_back({{across, down}, !previous || !isJoined(sample, *previous)});
        previous = &sample;
    }
    if (!shown.empty())
        graph.since = shown.front().timestamp;
    return graph;
}

std::vector<HistoryGraphPoint> points(const HistoryGraph& graph, QSizeF area) {
    const double width = std::max(area.width() - 2 * inset, 0.0);
    const double height = std::max(area.height() - 2 * inset, 0.0);
    std::vector<HistoryGraphPoint> placed = graph.points;
    for (HistoryGraphPoint& point : placed)
        point.location = {inset + width * point.location.x(), inset + height * point.location.y()};
    return placed;
}

Reading readingOf(const HistoryGraph& graph, std::size_t point) {
    const QPointF& location = graph.points[point].location;
    return {graph.start + week * location.x(), 100 * (1 - location.y())};
}

std::optional<std::size_t> pointNear(const HistoryGraph& graph, double across, double reach) {
    const auto& points = graph.points;
    const auto distance = [&](std::size_t point) {
        return std::abs(points[point].location.x() - across);
    };
    const auto next = static_cast<std::size_t>(
        std::ranges::lower_bound(points, across, {},
                                 [](const HistoryGraphPoint& point) { return point.location.x(); })
        - points.begin());
    const bool isOnLine = next > 0 && next < points.size() && !points[next].startsSegment;
    std::optional<std::size_t> nearest;
    if (next < points.size())
        nearest = next;
    if (next > 0 && (!nearest || distance(next - 1) < distance(next)))
        nearest = next - 1;
    return nearest && (isOnLine || distance(*nearest) <= reach) ? nearest : std::nullopt;
}

} // namespace tallywick::HistoryGraphModel

#pragma once

#include "base/Time.h"
#include "history/UsageHistory.h"

#include <QPointF>
#include <QSizeF>

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace tallywick {

/// A reading in a drawing area whose origin is its top left corner, with y growing downward.
struct HistoryGraphPoint {
    QPointF location;
    bool startsSegment = false; ///< no line joins it to the point before

    bool operator==(const HistoryGraphPoint&) const = default;
};

/// The readings of one allowance week, as its graph shows them.
struct HistoryGraph {
    std::vector<HistoryGraphPoint> points; ///< in an area of the size 1 × 1 without any inset
    Timestamp since = 0;                   ///< when the first of them was observed
    Timestamp start = 0;                   ///< of the week

    bool operator==(const HistoryGraph&) const = default;
};

/// Which stored readings the graph of the current allowance week shows, and where. Pure functions.
///
/// The week ends at `reset`, the reset of the present reading, or at `now` without one. Nothing is
/// interpolated: what was not observed stays a gap.
namespace HistoryGraphModel {

/// Length of the allowance week in seconds.
inline constexpr Timestamp week = 604'800;
/// Stays free on every side of the drawing area.
inline constexpr double inset = 3;

/// The samples of the current week up to `now`, in ascending order of their timestamps; equal ones
/// stay in order. Samples of another allowance week, whose reset differs by a second or more, are
/// left out when there is a `reset`.
std::vector<UsageSample> weekSamples(std::span<const UsageSample> samples, Timestamp now,
                                     std::optional<Timestamp> reset);

/// One point for each of `weekSamples`, in the same order. The whole week is as wide, and 0 to 100
/// percent are as high, as the area.
HistoryGraph graph(std::span<const UsageSample> samples, Timestamp now,
                   std::optional<Timestamp> reset);

/// The points of the graph in an area of that size, within its insets.
std::vector<HistoryGraphPoint> points(const HistoryGraph& graph, QSizeF area);

/// A reading as the graph shows it.
struct Reading {
    Timestamp time = 0;
    double usedPercent = 0;
};
Reading readingOf(const HistoryGraph& graph, std::size_t point);

/// The point that is nearest to a place between the beginning of the week, 0, and its end, 1.
/// Absent in a gap: farther than `reach` from every point, and on no line.
std::optional<std::size_t> pointNear(const HistoryGraph& graph, double across, double reach);

} // namespace HistoryGraphModel

} // namespace tallywick

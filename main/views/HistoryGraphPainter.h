#pragma once

#include "history/HistoryGraphModel.h"
#include "views/Theme.h"

#include <QPainter>
#include <QRectF>

#include <span>

namespace tallywick {

/// Draws the graph of the allowance week: its frame, a grid of days, and the points joined where no
/// segment starts. The points are given relative to the area's top left corner.
void paintHistoryGraph(QPainter& painter, const QRectF& area, const Theme& theme,
                       std::span<const HistoryGraphPoint> points);

} // namespace tallywick

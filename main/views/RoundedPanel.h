#pragma once

#include <QBrush>
#include <QPainter>
#include <QRect>
#include <QRegion>

namespace tallywick {

/// A window of its own with round corners, which a mask cuts: that needs no compositor.

/// What of it is seen: not its corners. The radius is in points.
QRegion roundedRegion(const QRect& area, double radius);

/// Paints it with a border of one point.
void paintRoundedPanel(QPainter& painter, const QRect& area, double radius, const QColor& border,
                       const QBrush& ground);

} // namespace tallywick

#pragma once

#include "views/Theme.h"

#include <QPainter>
#include <QRectF>

namespace tallywick {

/// Draws a thin line between two sections, which fades at both ends: by night in the accent colour,
/// by day in grey.
void paintDivider(QPainter& painter, const QRectF& area, const Theme& theme);

} // namespace tallywick

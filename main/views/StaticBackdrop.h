#pragma once

#include "views/Theme.h"

#include <QPainter>
#include <QRectF>

namespace tallywick {

/// Fills an area with the theme's backdrop, from its top to its bottom.
void paintBackdrop(QPainter& painter, const QRectF& area, const Theme& theme);

} // namespace tallywick

#include "views/StaticBackdrop.h"

#include <QLinearGradient>

namespace tallywick {

void paintBackdrop(QPainter& painter, const QRectF& area, const Theme& theme) {
    QLinearGradient fill(area.topLeft(), area.bottomLeft());
    fill.setColorAt(0, theme.backdropTop);
    fill.setColorAt(1, theme.backdropBottom);
    painter.fillRect(area, fill);
}

} // namespace tallywick

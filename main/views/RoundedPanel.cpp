#include "views/RoundedPanel.h"

#include <QPainterPath>

namespace tallywick {

QRegion roundedRegion(const QRect& area, double radius) {
    QPainterPath outline;
    outline.addRoundedRect(area, radius, radius);
    return {outline.toFillPolygon().toPolygon()};
}

/// The border is what the ground leaves: it follows the mask, however that falls on the pixels.
void paintRoundedPanel(QPainter& painter, const QRect& area, double radius, const QColor& border,
                       const QBrush& ground) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(area, border);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    painter.drawRoundedRect(QRectF(area).adjusted(1, 1, -1, -1), radius - 1, radius - 1);
    painter.restore();
}

} // namespace tallywick

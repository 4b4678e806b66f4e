#include "views/NeonDivider.h"

#include <QLinearGradient>

namespace tallywick {

void paintDivider(QPainter& painter, const QRectF& area, const Theme& theme) {
    constexpr double fade = 0.22;
    QColor end = theme.divider;
    end.setAlpha(0);
    QLinearGradient fill(area.topLeft(), area.topRight());
    fill.setColorAt(0, end);
    fill.setColorAt(fade, theme.divider);
    fill.setColorAt(1 - fade, theme.divider);
    fill.setColorAt(1, end);
    painter.fillRect(area, fill);
}

} // namespace tallywick

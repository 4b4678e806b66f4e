#include "views/ViewStyle.h"

namespace tallywick {

PartPainter::PartPainter(QWidget* part, const ViewStyle& style)
    : QPainter(part), area(0, 0, part->width() / style.scale, part->height() / style.scale) {
    setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing
                   | QPainter::SmoothPixmapTransform);
    scale(style.scale, style.scale);
}

} // namespace tallywick

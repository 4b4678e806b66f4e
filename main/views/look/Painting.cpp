#include "views/look/Painting.h"

#include <QImageReader>
#include <QPainterPath>

namespace tallywick {

PartPainter::PartPainter(QWidget* part, const ViewStyle& style)
    : QPainter(part), area(0, 0, part->width() / style.scale, part->height() / style.scale) {
    setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing
                   | QPainter::SmoothPixmapTransform);
    scale(style.scale, style.scale);
}

QLinearGradient backdropOf(const QRectF& area, const Theme& theme) {
    QLinearGradient backdrop(area.topLeft(), area.bottomLeft());
    backdrop.setColorAt(0, theme.backdropTop);
    backdrop.setColorAt(1, theme.backdropBottom);
    return backdrop;
}

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

void fillRounded(QPainter& painter, const QRectF& area, double radius, const QBrush& fill) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(area, radius, radius);
}

void paintOutlined(QPainter& painter, const QRectF& area, double radius, const QBrush& outline,
                   const QBrush& fill) {
    painter.setPen(QPen(outline, 1));
    painter.setBrush(fill);
    painter.drawRoundedRect(area.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

void paintRing(QPainter& painter, const QRectF& area, double radius, const QColor& color,
               double width) {
    const double inset = width / 2;
    painter.setPen(QPen(color, width));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(area.adjusted(inset, inset, -inset, -inset), radius, radius);
}

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
    fillRounded(painter, QRectF(area).adjusted(1, 1, -1, -1), radius - 1, ground);
    painter.restore();
}

QImage builtInPicture(const QString& name) {
    QImageReader reader(QStringLiteral(":/") + name, "png");
    reader.setAutoDetectImageFormat(false); // a search would load every plug-in
    return reader.read();
}

} // namespace tallywick

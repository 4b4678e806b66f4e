#include "views/HistoryGraphPainter.h"

#include "views/Opacity.h"

#include <QLineF>
#include <QLinearGradient>
#include <QPainterPath>

#include <cstddef>

namespace tallywick {

namespace {

constexpr double cornerRadius = 6;
constexpr double lineWidth = 2;
constexpr double dotRadius = 2.5;
constexpr int days = 7;
/// A glow is the shape drawn a few times, each wider than the last and faint: it follows every
/// scale, needs no picture of its own, and costs less than to blur one.
constexpr int glowSteps = 4;
constexpr double glowOpacity = 0.65;
constexpr double lineGlow = 4; ///< how far the glow of the line reaches
constexpr double dotGlow = 3;

/// The colour of one step of a glow. The steps lie on each other and add up, at the shape's edge,
/// to about half of the glow's opacity, as a blurred shadow does.
QColor glowColor(const Theme& theme) {
    return withOpacity(theme.accent, glowOpacity / 2 / glowSteps);
}

void paintGrid(QPainter& painter, const QRectF& area, const Theme& theme) {
    painter.setPen(QPen(withOpacity(theme.accent, 0.12), 1));
    for (int day = 1; day < days; ++day) {
        const double x = area.left() + area.width() * day / days;
        painter.drawLine(QLineF(x, area.top(), x, area.bottom()));
    }
    const double middle = area.center().y();
    painter.drawLine(QLineF(area.left(), middle, area.right(), middle));
}

/// The first point past the segment that begins at `begin`.
std::size_t segmentEnd(std::span<const HistoryGraphPoint> points, std::size_t begin) {
    std::size_t end = begin + 1;
    while (end < points.size() && !points[end].startsSegment)
        ++end;
    return end;
}

void paintAreas(QPainter& painter, const QRectF& area, const Theme& theme,
                std::span<const HistoryGraphPoint> points) {
    QLinearGradient fill(area.topLeft(), area.bottomLeft());
    fill.setColorAt(0, withOpacity(theme.accent, 0.2));
    fill.setColorAt(1, withOpacity(theme.accent, 0.025));
    const double floor = area.bottom() - HistoryGraphModel::inset;
    for (std::size_t begin = 0, end = 0; begin < points.size(); begin = end) {
        end = segmentEnd(points, begin);
        if (end - begin < 2)
            continue;
        QPainterPath shape(QPointF(points[begin].location.x(), floor));
        for (const HistoryGraphPoint& point : points.subspan(begin, end - begin))
            shape.lineTo(point.location);
        shape.lineTo(points[end - 1].location.x(), floor);
        shape.closeSubpath();
        painter.fillPath(shape, fill);
    }
}

/// All segments; one of a single point is left to its dot.
QPainterPath linePath(std::span<const HistoryGraphPoint> points) {
    QPainterPath path;
    for (std::size_t index = 0; index < points.size(); ++index) {
        const auto& [location, startsSegment] = points[index];
        if (index == 0 || startsSegment)
            path.moveTo(location);
        else
            path.lineTo(location);
    }
    return path;
}

void paintLine(QPainter& painter, const Theme& theme, const QPainterPath& path) {
    QPen pen(glowColor(theme), lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    for (int step = glowSteps; step > 0; --step) {
        pen.setWidthF(lineWidth + 2 * lineGlow * step / glowSteps);
        painter.strokePath(path, pen);
    }
    pen.setWidthF(lineWidth);
    pen.setColor(theme.accent);
    painter.strokePath(path, pen);
}

void paintDot(QPainter& painter, const Theme& theme, const QPointF& centre) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(glowColor(theme));
    for (int step = glowSteps; step > 0; --step) {
        const double radius = dotRadius + dotGlow * step / glowSteps;
        painter.drawEllipse(centre, radius, radius);
    }
    painter.setBrush(theme.accent);
    painter.drawEllipse(centre, dotRadius, dotRadius);
}

} // namespace

void paintHistoryGraph(QPainter& painter, const QRectF& area, const Theme& theme,
                       std::span<const HistoryGraphPoint> points) {
    painter.save();
    painter.translate(area.topLeft());
    const QRectF bounds(QPointF(0, 0), area.size());
    const QRectF outline = bounds.adjusted(0.5, 0.5, -0.5, -0.5);
    painter.setPen(QPen(withOpacity(theme.accent, 0.32), 1));
    painter.setBrush(withOpacity(Qt::black, 0.045));
    painter.drawRoundedRect(outline, cornerRadius, cornerRadius);

    QPainterPath clip;
    clip.addRoundedRect(bounds, cornerRadius, cornerRadius);
    painter.setClipPath(clip, Qt::IntersectClip);
    paintGrid(painter, bounds, theme);
    paintAreas(painter, bounds, theme, points);
    paintLine(painter, theme, linePath(points));
    for (std::size_t index = 0; index < points.size(); ++index)
        if (points[index].startsSegment || index + 1 == points.size())
            paintDot(painter, theme, points[index].location);
    painter.restore();
}

} // namespace tallywick

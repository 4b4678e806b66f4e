#include "views/parts/UsageGraphs.h"

#include "state/NumberTexts.h"
#include "views/look/Painting.h"

#include <QKeyEvent>
#include <QLineF>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainterPath>
#include <QTransform>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tallywick {

namespace {

constexpr int segments = 50;
constexpr double spacing = 2;
constexpr double padding = 6;
constexpr double meterRadius = 8;
constexpr double segmentRadius = 2;

/// Moves x coordinates onto the edges of the screen's pixels. Segments are seven and a half units
/// wide: on edges as they fall, every one would look different.
class PixelGrid {
  public:
    explicit PixelGrid(const QPainter& painter) : toDevice(painter.deviceTransform()) {}

    double snapped(double x) const {
        return (std::round(x * toDevice.m11() + toDevice.dx()) - toDevice.dx()) / toDevice.m11();
    }
    /// A width in whole pixels, at least one.
    double snappedWidth(double width) const {
        return std::max(1.0, std::round(width * toDevice.m11())) / toDevice.m11();
    }

  private:
    QTransform toDevice;
};

QLinearGradient downward(const QRectF& area, const QColor& top, const QColor& bottom) {
    QLinearGradient gradient(area.topLeft(), area.bottomLeft());
    gradient.setColorAt(0, top);
    gradient.setColorAt(1, bottom);
    return gradient;
}

/// By day the white end of a filled segment would fade into what it stands on.
void paintEdge(QPainter& painter, const QRectF& segment, const Theme& theme) {
    paintOutlined(painter, segment, segmentRadius - 0.5,
                  downward(segment, mixed(Qt::white, theme.accent, 0.6F), theme.accent),
                  Qt::NoBrush);
}

} // namespace

int filledSegments(std::optional<double> percent) {
    constexpr double percentPerSegment = 100.0 / segments;
    if (!percent || !(*percent > 0))
        return 0;
    return static_cast<int>(std::min<double>(std::ceil(*percent / percentPerSegment), segments));
}

void paintMeter(QPainter& painter, const QRectF& area, const Theme& theme, int filled) {
    paintOutlined(painter, area, meterRadius, theme.buttonOutline, withOpacity(theme.accent, 0.06));
    const QRectF inside = area.adjusted(padding, padding, -padding, -padding);
    const QLinearGradient full = downward(inside, Qt::white, theme.accent);
    const QLinearGradient empty =
        downward(inside, withOpacity(theme.accent, 0.16), withOpacity(theme.accent, 0.08));
    const PixelGrid grid(painter);
    const double gap = grid.snappedWidth(spacing);
    const double step = (inside.width() + spacing) / segments;
    for (int index = 0; index < segments; ++index) {
        const double left = grid.snapped(inside.left() + index * step);
        const double right = grid.snapped(inside.left() + (index + 1) * step) - gap;
        const QRectF segment(left, inside.top(), right - left, inside.height());
        fillRounded(painter, segment, segmentRadius, index < filled ? full : empty);
        if (index < filled && theme.light)
            paintEdge(painter, segment, theme);
    }
}

void SegmentedMeter::present(const std::optional<Quota>& quota, Timestamp now) {
    describe(QStringLiteral("Weekly usage"), QString::fromStdString(meterAccessibilityValue(quota)),
             QString::fromStdString(shorterWindowSentence(quota, now)));
    const int newFilled = filledSegments(quota ? std::optional(quota->used) : std::nullopt);
    if (newFilled == filled)
        return;
    filled = newFilled;
    update();
}

void SegmentedMeter::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    paintMeter(painter, painter.bounds(), style.theme, filled);
}

namespace {

constexpr double graphRadius = 6;
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

/// From nothing at the beginning of the week to everything at its end.
void paintEvenPace(QPainter& painter, const QRectF& area, const Theme& theme) {
    constexpr double inset = HistoryGraphModel::inset;
    const QRectF inside = area.adjusted(inset, inset, -inset, -inset);
    painter.setPen(QPen(withOpacity(theme.accent, 0.3), 1));
    painter.drawLine(inside.bottomLeft(), inside.topRight());
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
                       std::span<const HistoryGraphPoint> points, bool showsEvenPace) {
    painter.save();
    painter.translate(area.topLeft());
    const QRectF bounds(QPointF(0, 0), area.size());
    paintOutlined(painter, bounds, graphRadius, withOpacity(theme.accent, 0.32),
                  withOpacity(Qt::black, 0.045));

    QPainterPath clip;
    clip.addRoundedRect(bounds, graphRadius, graphRadius);
    painter.setClipPath(clip, Qt::IntersectClip);
    paintGrid(painter, bounds, theme);
    if (showsEvenPace)
        paintEvenPace(painter, bounds, theme);
    paintAreas(painter, bounds, theme, points);
    paintLine(painter, theme, linePath(points));
    for (std::size_t index = 0; index < points.size(); ++index)
        if (points[index].startsSegment || index + 1 == points.size())
            paintDot(painter, theme, points[index].location);
    painter.restore();
}

namespace {

constexpr double pointerReach = 4; ///< how far the pointer may be from a lone reading

/// Where a place of the week lies in an area of that width.
double acrossArea(double place, double width) {
    return HistoryGraphModel::inset + (width - 2 * HistoryGraphModel::inset) * place;
}

} // namespace

UsageHistoryGraph::UsageHistoryGraph(const ViewStyle& viewStyle, QWidget* parent)
    : Figure(viewStyle, parent) {
    setMouseTracking(true);
    describeShown();
}

void UsageHistoryGraph::present(const HistoryGraph& graph, const std::string& pace) {
    if (graph == shown && pace == shownPace)
        return;
    shown = graph;
    shownPace = pace;
    setFocusPolicy(graph.points.empty() ? Qt::NoFocus : Qt::TabFocus);
    lookAt(graph.points.empty() ? std::nullopt : lookedAt);
}

void UsageHistoryGraph::lookAt(std::optional<double> place) {
    lookedAt = place;
    describeShown();
    Q_EMIT lookedBack(looked());
    update();
}

/// The last one when there are not so many.
void UsageHistoryGraph::lookAtPoint(std::size_t point) {
    if (!shown.points.empty())
        lookAt(shown.points[std::min(point, shown.points.size() - 1)].location.x());
}

std::optional<std::size_t> UsageHistoryGraph::nearestPoint() const {
    const double width = this->width() / style.scale - 2 * HistoryGraphModel::inset;
    return lookedAt ? HistoryGraphModel::pointNear(shown, *lookedAt, pointerReach / width)
                    : std::nullopt;
}

QString UsageHistoryGraph::looked() const {
    if (!lookedAt)
        return {};
    const auto point = nearestPoint();
    return point ? QString::fromStdString(readingText(HistoryGraphModel::readingOf(shown, *point)))
                 : QString::fromUtf8(noReadings);
}

void UsageHistoryGraph::describeShown() {
    describe(QString::fromUtf8(historyGraphLabel),
             lookedAt ? looked() : QString::fromStdString(historyGraphValue(shown, shownPace)),
             QString::fromStdString(historyGraphHelp(shown, shownPace)));
}

void UsageHistoryGraph::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    const QRectF& area = painter.bounds();
    const auto points = HistoryGraphModel::points(shown, area.size());
    paintHistoryGraph(painter, area, style.theme, points, !shownPace.empty());
    if (lookedAt) {
        const auto point = nearestPoint();
        const double x = point ? points[*point].location.x() : acrossArea(*lookedAt, area.width());
        painter.setPen(QPen(withOpacity(style.theme.text, 0.6), 1));
        painter.drawLine(QLineF(x, area.top() + 1, x, area.bottom() - 1));
        if (point)
            paintDot(painter, style.theme, points[*point].location);
    }
    if (hasFocus())
        paintRing(painter, area, graphRadius, style.theme.focus);
}

void UsageHistoryGraph::mouseMoveEvent(QMouseEvent* event) {
    const double inset = HistoryGraphModel::inset * style.scale;
    if (!shown.points.empty())
        lookAt(std::clamp((event->position().x() - inset) / (width() - 2 * inset), 0.0, 1.0));
}

void UsageHistoryGraph::leaveEvent(QEvent*) { lookAt(std::nullopt); }

void UsageHistoryGraph::keyPressEvent(QKeyEvent* event) {
    const std::size_t last = shown.points.size();
    const std::size_t point = nearestPoint().value_or(last);
    switch (event->key()) {
    case Qt::Key_Left:
        return lookAtPoint(std::max<std::size_t>(point, 1) - 1);
    case Qt::Key_Right:
        return lookAtPoint(point + 1);
    case Qt::Key_Home:
        return lookAtPoint(0);
    case Qt::Key_End:
        return lookAtPoint(last);
    default:
        Figure::keyPressEvent(event);
    }
}

void UsageHistoryGraph::focusInEvent(QFocusEvent*) { lookAtPoint(shown.points.size()); }

void UsageHistoryGraph::focusOutEvent(QFocusEvent*) { lookAt(std::nullopt); }

} // namespace tallywick

#include "views/SegmentedMeter.h"

#include "state/NumberTexts.h"
#include "views/Opacity.h"

#include <QLinearGradient>
#include <QTransform>

#include <algorithm>
#include <cmath>

namespace tallywick {

namespace {

constexpr int segments = 50;
constexpr double spacing = 2;
constexpr double padding = 6;
constexpr double cornerRadius = 8;
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

void paintFrame(QPainter& painter, const QRectF& area, const Theme& theme) {
    painter.setPen(QPen(theme.buttonOutline, 1));
    painter.setBrush(withOpacity(theme.accent, 0.06));
    painter.drawRoundedRect(area.adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
}

/// By day the white end of a filled segment would fade into what it stands on.
void paintEdge(QPainter& painter, const QRectF& segment, const Theme& theme) {
    painter.setPen(QPen(downward(segment, mixed(Qt::white, theme.accent, 0.6F), theme.accent), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(segment.adjusted(0.5, 0.5, -0.5, -0.5), segmentRadius - 0.5,
                            segmentRadius - 0.5);
}

} // namespace

int filledSegments(std::optional<double> percent) {
    constexpr double percentPerSegment = 100.0 / segments;
    if (!percent || !(*percent > 0))
        return 0;
    return static_cast<int>(std::min<double>(std::ceil(*percent / percentPerSegment), segments));
}

void paintMeter(QPainter& painter, const QRectF& area, const Theme& theme, int filled) {
    paintFrame(painter, area, theme);
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
        painter.setPen(Qt::NoPen);
        painter.setBrush(index < filled ? full : empty);
        painter.drawRoundedRect(segment, segmentRadius, segmentRadius);
        if (index < filled && theme.light)
            paintEdge(painter, segment, theme);
    }
}

SegmentedMeter::SegmentedMeter(const ViewStyle& viewStyle, QWidget* parent)
    : Figure(parent), style(viewStyle) {}

void SegmentedMeter::present(const std::optional<Quota>& quota) {
    describe(QStringLiteral("Weekly usage"),
             QString::fromStdString(meterAccessibilityValue(quota)));
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

} // namespace tallywick

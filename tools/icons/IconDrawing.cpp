#include "IconDrawing.h"

#include <QColor>
#include <QLineF>
#include <QLinearGradient>
#include <QPainter>
#include <QPen>
#include <QRectF>

#include <algorithm>
#include <cmath>

namespace tallywick::icons {

namespace {

const QColor accent(0x2e, 0x90, 0xff);
const QColor tileTop(0x1b, 0x2e, 0x4c);
const QColor tileMiddle(0x12, 0x1f, 0x33);
const QColor tileBottom(0x0a, 0x10, 0x1b);

/// What stands where, in pixels. Tile, ring and tally are centred.
struct Layout {
    double margin; ///< around the tile
    double radius; ///< of the tile's corners
    double ring;   ///< outer diameter
    double ringWidth;
    int strokes;        ///< upright strokes of the tally
    bool slash;         ///< the stroke across them
    double strokeWidth; ///< of one stroke
    double strokeGap;   ///< between two
    double strokeHeight;
};

/// The small sizes stand on whole pixels; from 128 on the same drawing grows with the size.
Layout layoutFor(int size) {
    switch (size) {
    case 16:
        return {0, 3.5, 14, 2, 3, false, 1, 1, 4};
    case 32:
        return {1, 7, 26, 3, 3, false, 2, 2, 10};
    case 64:
        return {3, 13, 48, 5, 4, true, 3, 2, 18};
    default:
        break;
    }
    const double unit = size / 128.0;
    return {8 * unit, 25 * unit, 90 * unit, 9 * unit, 4, true, 6 * unit, 6 * unit, 38 * unit};
}

QImage emptyImage(int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QRectF centred(double size, double width, double height) {
    return {(size - width) / 2, (size - height) / 2, width, height};
}

void drawTile(QPainter& painter, const QRectF& tile, double radius, const QColor& top,
              const QColor& bottom) {
    QLinearGradient fill(tile.topLeft(), tile.bottomLeft());
    fill.setColorAt(0, top);
    fill.setColorAt(1, bottom);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(tile, radius, radius);

    // A faint edge inside keeps the tile apart from a dark desktop.
    const double edge = std::max(1.0, tile.width() / 128);
    painter.setPen(QPen(QColor(255, 255, 255, 36), edge));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(tile.adjusted(edge / 2, edge / 2, -edge / 2, -edge / 2),
                            radius - edge / 2, radius - edge / 2);
}

/// Part of a ring, from `start` against the clock over `span`, in degrees from three o'clock.
void drawArc(QPainter& painter, const QRectF& outer, double width, const QBrush& brush,
             double start, double span) {
    const double inset = width / 2;
    painter.setPen(QPen(brush, width, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    painter.drawArc(outer.adjusted(inset, inset, -inset, -inset), qRound(start * 16),
                    qRound(span * 16));
}

void drawGauge(QPainter& painter, double size, const Layout& layout) {
    constexpr double full = 360;
    constexpr double top = 90;
    constexpr double used = 0.64 * full;
    const QRectF outer = centred(size, layout.ring, layout.ring);
    QLinearGradient shine(outer.topRight(), outer.bottomLeft());
    shine.setColorAt(0, QColor(0x9c, 0xcf, 0xff));
    shine.setColorAt(0.7, accent);
    drawArc(painter, outer, layout.ringWidth, QColor(0x24, 0x3c, 0x5e), top, full);
    drawArc(painter, outer, layout.ringWidth, shine, top, -used);
}

void drawTally(QPainter& painter, double size, const Layout& layout) {
    const double step = layout.strokeWidth + layout.strokeGap;
    QRectF tally = centred(size, layout.strokes * step - layout.strokeGap, layout.strokeHeight);
    tally.moveLeft(std::floor(tally.left())); // upright edges on whole pixels
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    const double radius = layout.strokeWidth >= 3 ? layout.strokeWidth / 2 : 0;
    for (int stroke = 0; stroke < layout.strokes; ++stroke)
        painter.drawRoundedRect(QRectF(tally.left() + stroke * step, tally.top(),
                                       layout.strokeWidth, layout.strokeHeight),
                                radius, radius);
    if (!layout.slash)
        return;
    const double reach = layout.strokeWidth;
    const double rise = layout.strokeHeight / 5;
    const QLineF slash(tally.left() - reach, tally.bottom() - rise, tally.right() + reach,
                       tally.top() + rise);
    painter.setPen(QPen(tileMiddle, layout.strokeWidth * 2, Qt::SolidLine, Qt::FlatCap));
    painter.drawLine(slash);
    painter.setPen(QPen(accent, layout.strokeWidth, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(slash);
}

} // namespace

QImage applicationIcon(int size) {
    QImage image = emptyImage(size);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const Layout layout = layoutFor(size);
    const double side = size - 2 * layout.margin;
    drawTile(painter, centred(size, side, side), layout.radius, tileTop, tileBottom);
    drawGauge(painter, size, layout);
    drawTally(painter, size, layout);
    return image;
}

QImage logo(int size) {
    constexpr double halfGap = 44;
    QImage image = emptyImage(size);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    drawTile(painter, centred(size, size, size), size * 0.22, QColor(0x4f, 0xa3, 0xff),
             QColor(0x17, 0x66, 0xe8));
    drawArc(painter, centred(size, size * 0.58, size * 0.58), size * 0.11, Qt::white, halfGap,
            360 - 2 * halfGap);
    return image;
}

} // namespace tallywick::icons

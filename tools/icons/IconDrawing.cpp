#include "IconDrawing.h"

#include <QColor>
#include <QLineF>
#include <QLinearGradient>
#include <QPainter>
#include <QPen>
#include <QRectF>
#include <QString>

#include <algorithm>
#include <cmath>

namespace tallywick::icons {

namespace {

const QColor accent(0x2e, 0x90, 0xff);
constexpr int edgeAlpha = 36;
const QColor shineStart(0x9c, 0xcf, 0xff);
const QColor groove(0x24, 0x3c, 0x5e);
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
    case 24:
        return {1, 5, 20, 2, 3, false, 2, 1, 8};
    case 32:
        return {1, 7, 26, 3, 3, false, 2, 2, 10};
    case 48:
        return {2, 10, 38, 4, 4, true, 2, 2, 14};
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
    painter.setPen(QPen(QColor(255, 255, 255, edgeAlpha), edge));
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

constexpr double usedShare = 0.64;
constexpr double shineEnd = 0.7; ///< where in the ring the shine has become the accent

void drawGauge(QPainter& painter, double size, const Layout& layout) {
    constexpr double full = 360;
    constexpr double top = 90;
    constexpr double used = usedShare * full;
    const QRectF outer = centred(size, layout.ring, layout.ring);
    QLinearGradient shine(outer.topRight(), outer.bottomLeft());
    shine.setColorAt(0, shineStart);
    shine.setColorAt(shineEnd, accent);
    drawArc(painter, outer, layout.ringWidth, groove, top, full);
    drawArc(painter, outer, layout.ringWidth, shine, top, -used);
}

QRectF tallyPlace(double size, const Layout& layout) {
    const double step = layout.strokeWidth + layout.strokeGap;
    QRectF tally = centred(size, layout.strokes * step - layout.strokeGap, layout.strokeHeight);
    tally.moveLeft(std::floor(tally.left())); // upright edges on whole pixels
    return tally;
}

QLineF slashPlace(const QRectF& tally, const Layout& layout) {
    const double reach = layout.strokeWidth;
    const double rise = layout.strokeHeight / 5;
    return {tally.left() - reach, tally.bottom() - rise, tally.right() + reach, tally.top() + rise};
}

void drawTally(QPainter& painter, double size, const Layout& layout) {
    const double step = layout.strokeWidth + layout.strokeGap;
    const QRectF tally = tallyPlace(size, layout);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    const double radius = layout.strokeWidth >= 3 ? layout.strokeWidth / 2 : 0;
    for (int stroke = 0; stroke < layout.strokes; ++stroke)
        painter.drawRoundedRect(QRectF(tally.left() + stroke * step, tally.top(),
                                       layout.strokeWidth, layout.strokeHeight),
                                radius, radius);
    if (!layout.slash)
        return;
    const QLineF slash = slashPlace(tally, layout);
    painter.setPen(QPen(tileMiddle, layout.strokeWidth * 2, Qt::SolidLine, Qt::FlatCap));
    painter.drawLine(slash);
    painter.setPen(QPen(accent, layout.strokeWidth, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(slash);
}

/// An element of an SVG, its numbers in the places %1, %2 and so on.
template <typename... Numbers>
QString element(const char* text, Numbers... numbers) {
    QString filled = QString::fromLatin1(text);
    ((filled = filled.arg(numbers)), ...);
    return filled + u'\n';
}

QString gradient(const char* id, const QLineF& along, const QColor& from, double end,
                 const QColor& to) {
    return element("<linearGradient id=\"%1\" gradientUnits=\"userSpaceOnUse\" x1=\"%2\" y1=\"%3\" "
                   "x2=\"%4\" y2=\"%5\">",
                   QLatin1String(id), along.x1(), along.y1(), along.x2(), along.y2())
           + element("<stop stop-color=\"%1\"/><stop offset=\"%2\" stop-color=\"%3\"/>",
                     from.name(), end, to.name())
           + element("</linearGradient>");
}

QString tileElements(double size, const Layout& layout) {
    const double side = size - 2 * layout.margin;
    const double edge = side / 128;
    const double inset = layout.margin + edge / 2;
    return gradient("tile", {0, layout.margin, 0, size - layout.margin}, tileTop, 1, tileBottom)
           + element("<rect x=\"%1\" y=\"%1\" width=\"%2\" height=\"%2\" rx=\"%3\" "
                     "fill=\"url(#tile)\"/>",
                     layout.margin, side, layout.radius)
           + element("<rect x=\"%1\" y=\"%1\" width=\"%2\" height=\"%2\" rx=\"%3\" "
                     "stroke=\"#fff\" stroke-opacity=\"%4\" stroke-width=\"%5\"/>",
                     inset, side - edge, layout.radius - edge / 2, edgeAlpha / 255.0, edge);
}

QString gaugeElements(double size, const Layout& layout) {
    const QRectF outer = centred(size, layout.ring, layout.ring);
    const double middle = size / 2;
    const double radius = (layout.ring - layout.ringWidth) / 2;
    const double end = usedShare * 2 * M_PI;
    return gradient("shine", {outer.topRight(), outer.bottomLeft()}, shineStart, shineEnd, accent)
           + element("<circle cx=\"%1\" cy=\"%1\" r=\"%2\" stroke=\"%3\" stroke-width=\"%4\"/>",
                     middle, radius, groove.name(), layout.ringWidth)
           + element("<path d=\"M%1 %2A%3 %3 0 1 1 %4 %5\" stroke=\"url(#shine)\" "
                     "stroke-width=\"%6\" stroke-linecap=\"round\"/>",
                     middle, middle - radius, radius, middle + radius * std::sin(end),
                     middle - radius * std::cos(end), layout.ringWidth);
}

QString tallyElements(double size, const Layout& layout) {
    const QRectF tally = tallyPlace(size, layout);
    QString elements;
    for (int stroke = 0; stroke < layout.strokes; ++stroke)
        elements +=
            element("<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" rx=\"%5\" fill=\"#fff\"/>",
                    tally.left() + stroke * (layout.strokeWidth + layout.strokeGap), tally.top(),
                    layout.strokeWidth, layout.strokeHeight, layout.strokeWidth / 2);
    const QLineF slash = slashPlace(tally, layout);
    const auto line = [&](const QColor& color, double width, const char* cap) {
        return element("<path d=\"M%1 %2L%3 %4\" stroke=\"%5\" stroke-width=\"%6\" "
                       "stroke-linecap=\"%7\"/>",
                       slash.x1(), slash.y1(), slash.x2(), slash.y2(), color.name(), width,
                       QLatin1String(cap));
    };
    return elements + line(tileMiddle, layout.strokeWidth * 2, "butt")
           + line(accent, layout.strokeWidth, "round");
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

QByteArray scalableIcon() {
    constexpr int size = 128;
    const Layout layout = layoutFor(size);
    const QString drawing =
        element("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%1\" "
                "viewBox=\"0 0 %1 %1\" fill=\"none\">",
                size)
        + tileElements(size, layout) + gaugeElements(size, layout) + tallyElements(size, layout)
        + element("</svg>");
    return drawing.toUtf8();
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

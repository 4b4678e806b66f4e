#include "views/look/Symbols.h"

#include <QPainterPath>

#include <initializer_list>

namespace tallywick {

namespace {

/// Symbols are drawn on a grid of so many units a side.
constexpr double gridSize = 16;
constexpr double strokeWidth = 1.5;

void addLine(QPainterPath& path, std::initializer_list<QPointF> points) {
    const QPointF* point = points.begin();
    path.moveTo(*point);
    while (++point != points.end())
        path.lineTo(*point);
}

void addDot(QPainterPath& path, QPointF center) {
    addLine(path, {center, center + QPointF(0.01, 0)});
}

QPainterPath processor() {
    QPainterPath path;
    path.addRoundedRect(QRectF(3.5, 3.5, 9, 9), 1.5, 1.5);
    path.addRect(QRectF(6.5, 6.5, 3, 3));
    for (const double at : {6.0, 10.0}) {
        addLine(path, {{at, 1.2}, {at, 3.5}});
        addLine(path, {{at, 12.5}, {at, 14.8}});
        addLine(path, {{1.2, at}, {3.5, at}});
        addLine(path, {{12.5, at}, {14.8, at}});
    }
    return path;
}

QPainterPath memoryModule() {
    QPainterPath path;
    path.addRoundedRect(QRectF(1.2, 4, 13.6, 7), 1.2, 1.2);
    for (const double at : {4.4, 8.0, 11.6}) {
        addLine(path, {{at, 6.6}, {at, 8.4}});
        addLine(path, {{at, 11}, {at, 13}});
    }
    return path;
}

QPainterPath internalDrive() {
    QPainterPath path;
    path.addRoundedRect(QRectF(1.5, 4, 13, 8), 1.8, 1.8);
    addLine(path, {{4, 9}, {8, 9}});
    addDot(path, {11.6, 9});
    return path;
}

QPainterPath externalDrive() {
    QPainterPath path;
    path.addRoundedRect(QRectF(1.5, 2.5, 13, 8), 1.8, 1.8);
    addLine(path, {{4, 7.5}, {8, 7.5}});
    addDot(path, {11.6, 7.5});
    addLine(path, {{8, 10.5}, {8, 13.5}}); // its cable
    addLine(path, {{4.5, 13.5}, {11.5, 13.5}});
    return path;
}

QPainterPath clockwiseArrow() {
    QPainterPath path;
    const QRectF circle(2.7, 3.2, 10.6, 10.6);
    path.arcMoveTo(circle, 60);
    path.arcTo(circle, 60, 300);
    path.moveTo(7.6, 1.2);
    path.lineTo(10.65, 3.91);
    path.lineTo(7.9, 6.9);
    return path;
}

QPainterPath arrowOutOfBox() {
    QPainterPath path;
    addLine(path, {{8, 10}, {8, 1.8}});
    addLine(path, {{5, 4.6}, {8, 1.6}, {11, 4.6}});
    addLine(path, {{5, 7}, {3, 7}, {3, 14.2}, {13, 14.2}, {13, 7}, {11, 7}});
    return path;
}

QPainterPath cross() {
    QPainterPath path;
    addLine(path, {{4, 4}, {12, 12}});
    addLine(path, {{12, 4}, {4, 12}});
    return path;
}

QPainterPath checkMark() {
    QPainterPath path;
    addLine(path, {{3.2, 8.4}, {6.6, 11.8}, {12.8, 4.6}});
    return path;
}

QPainterPath outlineOf(Symbol symbol) {
    switch (symbol) {
    case Symbol::none:
        break;
    case Symbol::processor:
        return processor();
    case Symbol::memory:
        return memoryModule();
    case Symbol::internalDrive:
        return internalDrive();
    case Symbol::externalDrive:
        return externalDrive();
    case Symbol::refresh:
        return clockwiseArrow();
    case Symbol::share:
        return arrowOutOfBox();
    case Symbol::close:
        return cross();
    case Symbol::check:
        return checkMark();
    }
    return {};
}

} // namespace

void drawSymbol(QPainter& painter, const QRectF& square, Symbol symbol, const QColor& color) {
    painter.save();
    painter.setPen(QPen(color, strokeWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.translate(square.topLeft());
    painter.scale(square.width() / gridSize, square.height() / gridSize);
    painter.drawPath(outlineOf(symbol));
    painter.restore();
}

} // namespace tallywick

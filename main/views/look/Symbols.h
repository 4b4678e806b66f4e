#pragma once

#include <QColor>
#include <QPainter>
#include <QRectF>

namespace tallywick {

/// The program's symbols.
enum class Symbol {
    none,
    processor,
    memory,
    internalDrive,
    externalDrive,
    refresh,
    share,
    close,
    check,
};

/// Draws a symbol, a stroke of one weight in a square of design units.
void drawSymbol(QPainter& painter, const QRectF& square, Symbol symbol, const QColor& color);

} // namespace tallywick

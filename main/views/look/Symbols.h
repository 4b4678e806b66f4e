#pragma once

#include <QColor>
#include <QPainter>
#include <QRectF>

#include <string_view>

namespace tallywick {

/// Draws one of the program's symbols, a stroke of one weight in a square of design units: "cpu",
/// "memorychip", "internaldrive", "externaldrive", "arrow.clockwise", "square.and.arrow.up",
/// "arrow.up.right", "xmark", "checkmark". An unknown name draws nothing.
void drawSymbol(QPainter& painter, const QRectF& square, std::string_view name,
                const QColor& color);

} // namespace tallywick

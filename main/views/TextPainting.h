#pragma once

#include <QColor>
#include <QFont>
#include <QPainter>
#include <QRectF>
#include <QString>

namespace tallywick {

/// A text from outside as one harmless line: no line breaks, control or bidirectional formatting
/// characters, at most 1,000 characters, and only whole ones.
QString oneLine(const QString& text);

/// The width of one line in the font's units.
double lineWidth(const QString& text, const QFont& font);

/// Draws one line, vertically centred in the rectangle: a text that does not fit is elided in its
/// middle. Draws nothing beside the rectangle, and nothing above or below both the rectangle and
/// the font's own line. Nothing in the text is interpreted. `alignment` is horizontal.
void drawLine(QPainter& painter, const QRectF& area, const QString& text, const QFont& font,
              const QColor& color, Qt::Alignment alignment = Qt::AlignLeft);

/// Draws a text like `drawLine`, in smaller letters where they fit so: down to `leastShare` of the
/// font's size before it is elided.
void drawFittedLine(QPainter& painter, const QRectF& area, const QString& text, const QFont& font,
                    const QColor& color, Qt::Alignment alignment = Qt::AlignLeft);
inline constexpr double leastShare = 0.75;

/// Draws a text of figures like `drawLine`, every digit as wide as the widest, so that nothing
/// moves when a digit changes.
void drawFigures(QPainter& painter, const QRectF& area, const QString& text, const QFont& font,
                 const QColor& color, Qt::Alignment alignment = Qt::AlignLeft);
double figuresWidth(const QString& text, const QFont& font);

/// A text as a tooltip that shows it as `oneLine` gives it, whatever markup it seems to hold; a
/// long one wraps, though not at a hyphen.
QString plainToolTip(const QString& text);

} // namespace tallywick

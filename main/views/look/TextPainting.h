#pragma once

#include <QColor>
#include <QFont>
#include <QPainter>
#include <QRectF>
#include <QString>

namespace tallywick {

/// The roles of text in the window, each with one size and weight.
enum class FontRole {
    title,     ///< of the window: 15, bold
    caption,   ///< over cards and sections, in capitals: 11, demi-bold, spaced
    body,      ///< 13
    strong,    ///< 13, demi-bold: buttons
    small,     ///< 11: the status line
    figure,    ///< of a card: 19, demi-bold
    remaining, ///< 16, demi-bold
    unit,      ///< 16: beside the big number
    miniUsage, ///< of the mini layout: 27, bold
    bigNumber, ///< of the full layout: 68, bold
};

/// The font of a role, sized in design units and without hinting, so that widths scale. "Inter"
/// where it is installed, else the desktop's own family.
QFont designFont(FontRole role);

/// The font of a role in this family. The places are measured for "Inter": letters of a wider
/// family are made smaller, until they take about as much room.
QFont designFont(FontRole role, const QString& family);

/// A text from outside as one harmless line: no line breaks, control or bidirectional formatting
/// characters, at most so many UTF-16 units, and only whole characters. What is drawn as one line
/// needs no more than those of `longestLine`.
inline constexpr qsizetype longestLine = 1000;
QString oneLine(const QString& text, qsizetype longest = longestLine);

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

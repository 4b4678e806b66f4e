#include "views/look/TextPainting.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QStringList>
#include <QTextDocument>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace tallywick {

namespace {

struct Appearance {
    int size; ///< design units
    QFont::Weight weight;
};

Appearance appearanceOf(FontRole role) {
    switch (role) {
    case FontRole::title:
        return {15, QFont::Bold};
    case FontRole::caption:
        return {11, QFont::DemiBold};
    case FontRole::body:
        return {13, QFont::Normal};
    case FontRole::strong:
        return {13, QFont::DemiBold};
    case FontRole::small:
        return {11, QFont::Normal};
    case FontRole::figure:
        return {19, QFont::DemiBold};
    case FontRole::remaining:
        return {16, QFont::DemiBold};
    case FontRole::unit:
        return {16, QFont::Normal};
    case FontRole::miniUsage:
        return {27, QFont::Bold};
    case FontRole::bigNumber:
        return {68, QFont::Bold};
    }
    return {13, QFont::Normal};
}

QString chosenFamily() {
    const QString ours = QStringLiteral("Inter");
    // The list of all families is costly, and it is asked with every text that is drawn.
    static const bool isInstalled = QFontDatabase::families().contains(ours);
    return isInstalled ? ours : QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
}

/// How much smaller than "Inter" a family has to be for texts of the same width: 1 for one that is
/// as narrow, and never so little that it could not be read.
double measuredShare(const QString& family, QFont::Weight weight) {
    constexpr int measuredSize = 100;
    constexpr double leastShare = 0.75;
    const QString sample = QStringLiteral("Refresh Settings Share Always on top 0123456789");
    const double ours = weight == QFont::Normal ? 2404 : weight == QFont::DemiBold ? 2464 : 2494;
    QFont font(family);
    font.setPixelSize(measuredSize);
    font.setWeight(weight);
    font.setHintingPreference(QFont::PreferNoHinting);
    return std::clamp(ours / QFontMetricsF(font).horizontalAdvance(sample), leastShare, 1.0);
}

/// Measured once for each family and weight: a font is asked for with every text that is drawn.
double shareOf(const QString& family, QFont::Weight weight) {
    static std::map<std::pair<QString, QFont::Weight>, double> measured;
    const auto [place, isNew] = measured.try_emplace({family, weight}, 1.0);
    if (isNew)
        place->second = measuredShare(family, weight);
    return place->second;
}

} // namespace

QFont designFont(FontRole role) { return designFont(role, chosenFamily()); }

QFont designFont(FontRole role, const QString& family) {
    const Appearance appearance = appearanceOf(role);
    QFont font(family);
    font.setPixelSize(
        static_cast<int>(std::lround(appearance.size * shareOf(family, appearance.weight))));
    font.setWeight(appearance.weight);
    font.setHintingPreference(QFont::PreferNoHinting);
    if (role == FontRole::caption) {
        font.setCapitalization(QFont::AllUppercase);
        font.setLetterSpacing(QFont::AbsoluteSpacing, 1.1);
    }
    return font;
}

namespace {

/// Characters of a tooltip that may stand in one line.
constexpr qsizetype longestToolTipLine = 80;

bool isLineBreak(char16_t character) {
    return (character >= 0x09 && character <= 0x0d) || character == 0x85 || character == 0x2028
           || character == 0x2029;
}

bool isBidirectionalFormatting(char16_t character) {
    return character == 0x061c || character == 0x200e || character == 0x200f
           || (character >= 0x202a && character <= 0x202e)
           || (character >= 0x2066 && character <= 0x2069);
}

bool isDigit(QChar character) { return character >= u'0' && character <= u'9'; }

double digitWidth(const QFontMetricsF& metrics) {
    double widest = 0;
    for (char16_t digit = u'0'; digit <= u'9'; ++digit)
        widest = std::max(widest, metrics.horizontalAdvance(QChar(digit)));
    return widest;
}

/// Calls `onPiece(text, width, offset)` for each digit and for each run of other characters, where
/// the offset centres the piece in its width. Returns the width of them all.
template <typename OnPiece>
double layOutFigures(const QString& text, const QFontMetricsF& metrics, OnPiece onPiece) {
    const double widest = digitWidth(metrics);
    double width = 0;
    for (qsizetype begin = 0; begin < text.size();) {
        qsizetype end = begin + 1;
        while (!isDigit(text[begin]) && end < text.size() && !isDigit(text[end]))
            ++end;
        const QString piece = text.sliced(begin, end - begin);
        const double own = metrics.horizontalAdvance(piece);
        const double taken = isDigit(text[begin]) ? widest : own;
        onPiece(piece, width + (taken - own) / 2);
        width += taken;
        begin = end;
    }
    return width;
}

double leftEdge(const QRectF& area, double width, Qt::Alignment alignment) {
    if (alignment & Qt::AlignRight)
        return area.right() - width;
    if (alignment & Qt::AlignHCenter)
        return area.center().x() - width / 2;
    return area.left();
}

/// The baseline that puts capitals and digits in the middle.
double baseline(const QRectF& area, const QFontMetricsF& metrics) {
    return area.center().y() + metrics.capHeight() / 2;
}

/// Prepares the painter for one line in the area.
void begin(QPainter& painter, const QRectF& area, const QFont& font, const QColor& color) {
    const QFontMetricsF metrics(font);
    const double line = baseline(area, metrics);
    const double top = std::min(area.top(), line - metrics.ascent());
    const double bottom = std::max(area.bottom(), line + metrics.descent());
    painter.setClipRect(QRectF(area.left(), top, area.width(), bottom - top), Qt::IntersectClip);
    painter.setFont(font);
    painter.setPen(color);
}

} // namespace

QString oneLine(const QString& text, qsizetype longest) {
    QString line;
    for (qsizetype at = 0; at < text.size() && line.size() < longest; ++at) {
        const QChar unit = text[at];
        if (unit.isSurrogate()) {
            const bool isPair =
                unit.isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate();
            if (!isPair)
                continue;
            if (line.size() + 2 > longest)
                break;
            line.append(unit).append(text[++at]);
        } else if (isLineBreak(unit.unicode())) {
            if (!line.isEmpty() && !line.back().isSpace())
                line.append(u' ');
        } else if (unit.category() != QChar::Other_Control
                   && !isBidirectionalFormatting(unit.unicode())) {
            line.append(unit);
        }
    }
    return line;
}

double lineWidth(const QString& text, const QFont& font) {
    return QFontMetricsF(font).horizontalAdvance(text);
}

void drawLine(QPainter& painter, const QRectF& area, const QString& text, const QFont& font,
              const QColor& color, Qt::Alignment alignment) {
    const QFontMetricsF metrics(font);
    const QString line = metrics.elidedText(oneLine(text), Qt::ElideMiddle, area.width());
    const double left = leftEdge(area, metrics.horizontalAdvance(line), alignment);
    painter.save();
    begin(painter, area, font, color);
    painter.drawText(QPointF(left, baseline(area, metrics)), line);
    painter.restore();
}

void drawFittedLine(QPainter& painter, const QRectF& area, const QString& text, const QFont& font,
                    const QColor& color, Qt::Alignment alignment) {
    const double width = lineWidth(oneLine(text), font);
    const double share = width > area.width() ? std::max(area.width() / width, leastShare) : 1.0;
    painter.save();
    painter.translate(area.topLeft());
    painter.scale(share, share);
    drawLine(painter, QRectF(QPointF(), area.size() / share), text, font, color, alignment);
    painter.restore();
}

void drawFigures(QPainter& painter, const QRectF& area, const QString& text, const QFont& font,
                 const QColor& color, Qt::Alignment alignment) {
    const QString line = oneLine(text);
    const double width = figuresWidth(line, font);
    if (width > area.width()) {
        drawLine(painter, area, line, font, color, alignment);
        return;
    }
    const QFontMetricsF metrics(font);
    const QPointF start(leftEdge(area, width, alignment), baseline(area, metrics));
    painter.save();
    begin(painter, area, font, color);
    layOutFigures(line, metrics, [&](const QString& piece, double offset) {
        painter.drawText(start + QPointF(offset, 0), piece);
    });
    painter.restore();
}

double figuresWidth(const QString& text, const QFont& font) {
    return layOutFigures(text, QFontMetricsF(font), [](const QString&, double) {});
}

QString plainToolTip(const QString& text) {
    QString line = oneLine(text);
    if (line.size() <= longestToolTipLine && !Qt::mightBeRichText(line))
        return line;
    const QString joiner = QStringLiteral("\u2060"); // no line ends beside it
    line.replace(u'-', joiner + u'-' + joiner);
    return QStringLiteral("<p style=\"white-space:pre-wrap\">") + line.toHtmlEscaped()
           + QStringLiteral("</p>");
}

} // namespace tallywick

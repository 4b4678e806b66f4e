#include "views/WeeklyFigure.h"

#include "state/NumberTexts.h"
#include "views/Fonts.h"
#include "views/TextPainting.h"

#include <QFontMetricsF>

namespace tallywick {

namespace {

constexpr double gap = 1; ///< beside the room that a digit keeps free by itself
constexpr double markGap = 4;

} // namespace

WeeklyFigure::WeeklyFigure(const ViewStyle& viewStyle, QWidget* parent)
    : Figure(parent), style(viewStyle) {}

void WeeklyFigure::present(const std::optional<Quota>& quota) {
    const QString newNumber = QString::fromStdString(usageFigure(quota));
    if (newNumber == number)
        return;
    number = newNumber;
    isKnown = quota.has_value();
    const QString whole = QString::fromStdString(weeklyUsageText(quota));
    unit = whole.sliced(number.size());
    describe(whole, {});
    update();
}

void WeeklyFigure::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    const QRectF area = painter.bounds();
    const QFont big = designFont(FontRole::bigNumber);
    const QFont small = designFont(FontRole::unit);
    // A dash as large as the digits would look like something that is being loaded.
    const QFont mark = designFont(FontRole::miniUsage);
    // All stand on one baseline: a line's capitals are centred in its area.
    const auto onBaseline = [&](const QFont& font) {
        return area.translated(0, (QFontMetricsF(big).capHeight() - QFontMetricsF(font).capHeight())
                                      / 2);
    };
    const QFont& font = isKnown ? big : mark;
    // At this size, digits that all take the same width would stand visibly apart.
    drawLine(painter, onBaseline(font), number, font,
             isKnown ? style.theme.text : style.theme.secondaryText);
    const double indent = lineWidth(number, font) + (isKnown ? gap : markGap);
    drawLine(painter, onBaseline(small).adjusted(indent, 0, 0, 0), unit, small,
             style.theme.secondaryText);
}

} // namespace tallywick

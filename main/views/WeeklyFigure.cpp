#include "views/WeeklyFigure.h"

#include "state/NumberTexts.h"
#include "views/Fonts.h"
#include "views/TextPainting.h"

#include <QFontMetricsF>

namespace tallywick {

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
    constexpr double gap = 6;
    PartPainter painter(this, style);
    const QRectF area = painter.bounds();
    const QFont big = designFont(FontRole::bigNumber);
    const QFont small = designFont(FontRole::remaining);
    // At this size, digits that all take the same width would stand visibly apart.
    // A dash of that weight would shout, where there is nothing to tell.
    drawLine(painter, area, number, big, isKnown ? style.theme.text : style.theme.secondaryText);
    // Both stand on one baseline: a line's capitals are centred in its area.
    const double lower = (QFontMetricsF(big).capHeight() - QFontMetricsF(small).capHeight()) / 2;
    const double indent = lineWidth(number, big) + gap;
    drawLine(painter, area.translated(0, lower).adjusted(indent, 0, 0, 0), unit, small,
             style.theme.secondaryText);
}

} // namespace tallywick

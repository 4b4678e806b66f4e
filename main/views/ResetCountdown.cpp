#include "views/ResetCountdown.h"

#include "views/Fonts.h"
#include "views/TextPainting.h"

namespace tallywick {

namespace {

QString caption() { return QStringLiteral("RESET IN"); }

} // namespace

ResetCountdown::ResetCountdown(const ViewStyle& viewStyle, QWidget* parent)
    : Figure(parent), style(viewStyle) {}

void ResetCountdown::present(const std::optional<std::string>& countdown) {
    const QString text = QString::fromStdString(countdown.value_or(std::string()));
    setVisible(!text.isEmpty());
    if (text == shown)
        return;
    shown = text;
    describe(caption(), shown);
    update();
}

void ResetCountdown::paintEvent(QPaintEvent*) {
    constexpr double gap = 10;
    PartPainter painter(this, style);
    const QRectF area = painter.bounds();
    const QFont font = designFont(FontRole::remaining);
    drawFigures(painter, area, shown, font, style.theme.accentText, Qt::AlignRight);
    drawLine(painter, area.adjusted(0, 0, -figuresWidth(shown, font) - gap, 0), caption(),
             designFont(FontRole::caption), style.theme.secondaryText, Qt::AlignRight);
}

} // namespace tallywick

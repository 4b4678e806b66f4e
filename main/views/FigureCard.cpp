#include "views/FigureCard.h"

namespace tallywick {

FigureCard::FigureCard(const ViewStyle& viewStyle, QWidget* parent)
    : Figure(parent), style(viewStyle) {}

void FigureCard::setContent(const CardContent& content) {
    if (content == shown)
        return;
    shown = content;
    update();
}

void FigureCard::paintEvent(QPaintEvent* /*event*/) {
    PartPainter painter(this, style);
    paintCard(painter, painter.bounds(), style.theme, shown);
}

} // namespace tallywick

#include "views/SheetCard.h"

#include <QVBoxLayout>

namespace tallywick {

namespace {

constexpr double cornerRadius = 8;
constexpr int margin = 12;
constexpr int spacing = 10;

} // namespace

SheetCard::SheetCard(const ViewStyle& viewStyle, QWidget* parent)
    : QWidget(parent), style(viewStyle), content(new QVBoxLayout(this)) {
    content->setContentsMargins(margin, margin, margin, margin);
    content->setSpacing(spacing);
}

void SheetCard::paintEvent(QPaintEvent* /*event*/) {
    PartPainter painter(this, style);
    painter.setPen(QPen(style.theme.cardOutline, 1));
    painter.setBrush(style.theme.card);
    painter.drawRoundedRect(painter.bounds().adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius,
                            cornerRadius);
}

} // namespace tallywick

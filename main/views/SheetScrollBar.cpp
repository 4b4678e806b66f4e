#include "views/SheetScrollBar.h"

#include <QStyle>
#include <QStyleOptionSlider>

namespace tallywick {

namespace {

constexpr int thickness = 10;
constexpr double thumbMargin = 2;

} // namespace

SheetScrollBar::SheetScrollBar(const ViewStyle& viewStyle, QWidget* parent)
    : QScrollBar(Qt::Vertical, parent), style(viewStyle) {}

QSize SheetScrollBar::sizeHint() const { return {thickness, QScrollBar::sizeHint().height()}; }

void SheetScrollBar::paintEvent(QPaintEvent* /*event*/) {
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRectF place = QWidget::style()->subControlRect(QStyle::CC_ScrollBar, &option,
                                                          QStyle::SC_ScrollBarSlider, this);
    const QRectF thumb = place.adjusted(thumbMargin, thumbMargin, -thumbMargin, -thumbMargin);
    PartPainter painter(this, style);
    painter.setPen(Qt::NoPen);
    painter.setBrush(style.theme.secondaryText);
    painter.drawRoundedRect(thumb, thumb.width() / 2, thumb.width() / 2);
}

} // namespace tallywick

#include "views/PressablePart.h"

#include "views/TextPainting.h"

#include <QKeyEvent>

namespace tallywick {

PressablePart::PressablePart(const ViewStyle& viewStyle, QWidget* parent)
    : QAbstractButton(parent), style(viewStyle) {
    setFocusPolicy(Qt::TabFocus);
}

void PressablePart::setHelp(const QString& text) {
    setToolTip(plainToolTip(text));
    setAccessibleDescription(text);
}

void PressablePart::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!isReturn)
        QAbstractButton::keyPressEvent(event);
    else if (!event->isAutoRepeat())
        click();
}

void PressablePart::paintFocus(QPainter& painter, const QRectF& area, double cornerRadius) const {
    if (!hasFocus())
        return;
    constexpr double width = 2;
    constexpr double inset = width / 2;
    painter.setPen(QPen(style.theme.focus, width));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(area.adjusted(inset, inset, -inset, -inset), cornerRadius,
                            cornerRadius);
}

} // namespace tallywick

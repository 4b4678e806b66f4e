#include "views/UtilityCheckBox.h"

#include "views/Fonts.h"
#include "views/Symbols.h"
#include "views/TextPainting.h"

#include <QKeyEvent>

#include <cmath>

namespace tallywick {

namespace {

// In design units.
constexpr double boxHeight = 26;
constexpr double boxSize = 14;
constexpr double boxLeft = 3; ///< room for the ring
constexpr double textLeft = boxLeft + boxSize + 6;
constexpr double textRight = 3; ///< behind the text
constexpr double cornerRadius = 3.5;
constexpr double focusWidth = 2;

/// How far a disabled box fades into what it stands on.
constexpr float disabledShare = 0.55F;

} // namespace

UtilityCheckBox::UtilityCheckBox(const ViewStyle& viewStyle, const QString& text, QWidget* parent)
    : QCheckBox(text, parent), style(viewStyle) {
    setFocusPolicy(Qt::TabFocus); // the ring is for the keyboard: a click does not move it here
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
}

QSize UtilityCheckBox::sizeHint() const {
    const double width = textLeft + lineWidth(text(), designFont(FontRole::body)) + textRight;
    return {static_cast<int>(std::ceil(width * style.scale)),
            static_cast<int>(std::ceil(boxHeight * style.scale))};
}

void UtilityCheckBox::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!isReturn) {
        QCheckBox::keyPressEvent(event);
        return;
    }
    if (!event->isAutoRepeat())
        click();
}

QColor UtilityCheckBox::faded(const QColor& color) const {
    return isEnabled() ? color : mixed(color, style.theme.card, disabledShare);
}

void UtilityCheckBox::paintEvent(QPaintEvent* /*event*/) {
    PartPainter painter(this, style);
    const QRectF& bounds = painter.bounds();
    paintBox(painter, QRectF(boxLeft, bounds.center().y() - boxSize / 2, boxSize, boxSize));
    drawFittedLine(painter,
                   QRectF(textLeft, bounds.top(), bounds.width() - textLeft, bounds.height()),
                   text(), designFont(FontRole::body), faded(style.theme.text));
}

void UtilityCheckBox::paintBox(QPainter& painter, const QRectF& box) const {
    const Theme& theme = style.theme;
    if (isChecked()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(faded(isDown() ? theme.prominent.darker(118) : theme.prominent));
        painter.drawRoundedRect(box, cornerRadius, cornerRadius);
        drawSymbol(painter, box.adjusted(2, 2, -2, -2), "checkmark", theme.prominentText);
    } else {
        const bool isHovered = underMouse() && isEnabled();
        painter.setPen(QPen(faded(isHovered ? theme.text : theme.secondaryText), 1));
        painter.setBrush(isDown() ? theme.buttonPressed : theme.button);
        painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
    }
    if (!hasFocus())
        return;
    painter.setPen(QPen(theme.focus, focusWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(box.adjusted(-2, -2, 2, 2), cornerRadius + 2, cornerRadius + 2);
}

} // namespace tallywick

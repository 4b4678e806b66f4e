#include "views/parts/Buttons.h"

#include "views/look/Symbols.h"
#include "views/look/TextPainting.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QToolTip>

#include <algorithm>
#include <cmath>

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

namespace {

// In design units.
constexpr double buttonHeight = 26;
constexpr double padding = 10; ///< beside the content
constexpr double symbolSize = 12;
constexpr double symbolGap = 5;
constexpr double cornerRadius = 6;
constexpr double focusWidth = 2;
constexpr double filledFocusWidth = 1.5;

/// How far a disabled button fades into what it stands on. By colour: the toolkit starts threads
/// for lines that it draws with an opacity.
constexpr float disabledShare = 0.55F;

} // namespace

UtilityButton::UtilityButton(const ViewStyle& viewStyle, const QString& text,
                             std::string_view symbolName, Treatment chosenTreatment,
                             QWidget* parent)
    : QPushButton(text, parent), style(viewStyle), symbol(symbolName), treatment(chosenTreatment) {
    setAutoDefault(false);
    setFocusPolicy(Qt::TabFocus); // the ring is for the keyboard: a click does not move it here
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

double UtilityButton::symbolRoom() const {
    if (symbol.empty())
        return 0;
    return text().isEmpty() ? symbolSize : symbolSize + symbolGap;
}

QSize UtilityButton::sizeFor(double textShare) const {
    const double textWidth = lineWidth(text(), designFont(FontRole::strong)) * textShare;
    const double width =
        treatment == Treatment::bare ? buttonHeight : 2 * padding + symbolRoom() + textWidth;
    return {static_cast<int>(std::ceil(width * style.scale)),
            static_cast<int>(std::ceil(buttonHeight * style.scale))};
}

bool UtilityButton::isElided() const {
    const double room = width() / style.scale - 1.5 * padding - symbolRoom();
    return treatment != Treatment::bare
           && lineWidth(text(), designFont(FontRole::strong)) * leastShare > room;
}

bool UtilityButton::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty() && isElided()) {
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), plainToolTip(text()),
                           this);
        return true;
    }
    return QPushButton::event(event);
}

void UtilityButton::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!isReturn) {
        QPushButton::keyPressEvent(event);
        return;
    }
    if (!event->isAutoRepeat())
        click();
}

QColor UtilityButton::inkColor() const {
    const Theme& theme = style.theme;
    QColor ink = theme.buttonText;
    if (treatment == Treatment::prominent)
        ink = theme.prominentText;
    else if (treatment == Treatment::bare && !underMouse())
        ink = theme.secondaryText;
    return isEnabled() ? ink : mixed(ink, fillColor(), disabledShare);
}

QColor UtilityButton::prominentFill() const {
    const Theme& theme = style.theme;
    if (!isEnabled())
        return mixed(theme.prominent, theme.card, disabledShare);
    // Away from the text that stands on it.
    const bool hasLightText = theme.prominentText.lightnessF() > 0.5F;
    const int change = isDown() ? 118 : underMouse() ? 107 : 100;
    return hasLightText ? theme.prominent.darker(change) : theme.prominent.lighter(change);
}

QColor UtilityButton::fillColor() const {
    const Theme& theme = style.theme;
    if (treatment == Treatment::prominent)
        return prominentFill();
    if (isEnabled() && isDown())
        return theme.buttonPressed;
    return isEnabled() && underMouse() ? theme.buttonHovered : theme.button;
}

void UtilityButton::paintEvent(QPaintEvent* /*event*/) {
    PartPainter painter(this, style);
    paintFrame(painter, painter.bounds());
    paintContent(painter, painter.bounds());
}

void UtilityButton::paintFrame(QPainter& painter, const QRectF& bounds) const {
    const Theme& theme = style.theme;
    const bool isOutlined = treatment == Treatment::plain;
    const bool isBareAndIdle =
        treatment == Treatment::bare && !(isEnabled() && (isDown() || underMouse()));
    if (!isBareAndIdle) {
        const QColor outline = isEnabled()
                                   ? theme.buttonOutline
                                   : mixed(theme.buttonOutline, theme.button, disabledShare);
        painter.setPen(isOutlined ? QPen(outline, 1) : QPen(Qt::NoPen));
        painter.setBrush(fillColor());
        const double inset = isOutlined ? 0.5 : 0;
        painter.drawRoundedRect(bounds.adjusted(inset, inset, -inset, -inset), cornerRadius,
                                cornerRadius);
    }
    if (!hasFocus())
        return;
    // Inside the frame, so that a button needs no room around it; on a fill, a little further in.
    const bool isFilled = treatment == Treatment::prominent;
    const double ringWidth = isFilled ? filledFocusWidth : focusWidth;
    const double ringInset = ringWidth / 2 + (isFilled ? filledFocusWidth : 0);
    painter.setPen(QPen(isFilled ? theme.prominentText : theme.focus, ringWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(bounds.adjusted(ringInset, ringInset, -ringInset, -ringInset),
                            cornerRadius - ringInset / 2, cornerRadius - ringInset / 2);
}

void UtilityButton::paintContent(QPainter& painter, const QRectF& bounds) const {
    const double middle = bounds.center().y();
    const QRectF symbolSquare(0, middle - symbolSize / 2, symbolSize, symbolSize);
    if (treatment == Treatment::bare) {
        drawSymbol(painter, symbolSquare.translated(bounds.center().x() - symbolSize / 2, 0),
                   symbol, inkColor());
        return;
    }
    const QFont font = designFont(FontRole::strong);
    const double textWidth = lineWidth(text(), font);
    const double room = bounds.width() - 2 * padding;
    double left = bounds.left() + padding;
    left += std::max(0.0, (room - symbolRoom() - textWidth) / 2);
    if (!symbol.empty())
        drawSymbol(painter, symbolSquare.translated(left, 0), symbol, inkColor());
    left += symbolRoom();
    // Half the padding may be used before a letter is made smaller.
    const double right = bounds.right() - padding / 2;
    drawFittedLine(painter, QRectF(left, bounds.top(), right - left, bounds.height()), text(), font,
                   inkColor());
}

namespace {

// In design units.
constexpr double boxHeight = 26;
constexpr double boxSize = 14;
constexpr double boxLeft = 3; ///< room for the ring
constexpr double textLeft = boxLeft + boxSize + 6;
constexpr double textRight = 3; ///< behind the text
constexpr double boxRadius = 3.5;

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
        painter.drawRoundedRect(box, boxRadius, boxRadius);
        drawSymbol(painter, box.adjusted(2, 2, -2, -2), "checkmark", theme.prominentText);
    } else {
        const bool isHovered = underMouse() && isEnabled();
        painter.setPen(QPen(faded(isHovered ? theme.text : theme.secondaryText), 1));
        painter.setBrush(isDown() ? theme.buttonPressed : theme.button);
        painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), boxRadius, boxRadius);
    }
    if (!hasFocus())
        return;
    painter.setPen(QPen(theme.focus, focusWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(box.adjusted(-2, -2, 2, 2), boxRadius + 2, boxRadius + 2);
}

} // namespace tallywick

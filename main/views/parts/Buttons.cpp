#include "views/parts/Buttons.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QSignalBlocker>
#include <QToolTip>

#include <algorithm>
#include <cmath>

namespace tallywick {

namespace {

// In design units.
constexpr double buttonHeight = 26;
constexpr double padding = 10; ///< beside the content
constexpr double symbolSize = 12;
constexpr double symbolGap = 5;
constexpr double cornerRadius = 6;
constexpr double filledFocusWidth = 1.5;

constexpr double boxSize = 14;
constexpr double boxLeft = 3; ///< room for the ring
constexpr double textLeft = boxLeft + boxSize + 6;
constexpr double textRight = 3; ///< behind the text
constexpr double boxRadius = 3.5;

/// How far what is disabled fades into what it stands on. By colour: the toolkit starts threads for
/// lines that it draws with an opacity.
constexpr float disabledShare = 0.55F;

/// Return presses a button as Space does, though once however long it is held. Whether it was that.
bool pressByReturn(QAbstractButton& button, const QKeyEvent& event) {
    if (!isReturn(event))
        return false;
    if (!event.isAutoRepeat())
        button.click();
    return true;
}

} // namespace

bool isReturn(const QKeyEvent& event) {
    return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

PressablePart::PressablePart(const ViewStyle& viewStyle, QWidget* parent)
    : QAbstractButton(parent), style(viewStyle) {
    setFocusPolicy(Qt::TabFocus);
}

void PressablePart::setHelp(const QString& text) {
    setToolTip(plainToolTip(text));
    setAccessibleDescription(text);
}

void PressablePart::keyPressEvent(QKeyEvent* event) {
    if (!pressByReturn(*this, *event))
        QAbstractButton::keyPressEvent(event);
}

void PressablePart::paintFocus(QPainter& painter, const QRectF& area, double radius) const {
    if (hasFocus())
        paintRing(painter, area, radius, style.theme.focus);
}

UtilityButton::UtilityButton(const ViewStyle& viewStyle, const QString& text, Symbol chosenSymbol,
                             Treatment chosenTreatment, QWidget* parent)
    : QPushButton(text, parent), style(viewStyle), symbol(chosenSymbol),
      treatment(chosenTreatment) {
    setAutoDefault(false);
    setFocusPolicy(Qt::TabFocus); // the ring is for the keyboard: a click does not move it here
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

double UtilityButton::symbolRoom() const {
    if (symbol == Symbol::none)
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
    if (!pressByReturn(*this, *event))
        QPushButton::keyPressEvent(event);
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
    const bool isBareAndIdle =
        treatment == Treatment::bare && !(isEnabled() && (isDown() || underMouse()));
    const QColor outline =
        isEnabled() ? theme.buttonOutline : mixed(theme.buttonOutline, theme.button, disabledShare);
    if (treatment == Treatment::plain)
        paintOutlined(painter, bounds, cornerRadius, outline, fillColor());
    else if (!isBareAndIdle)
        fillRounded(painter, bounds, cornerRadius, fillColor());
    if (!hasFocus())
        return;
    // Inside the frame, so that a button needs no room around it; on a fill, a little further in.
    constexpr double gap = filledFocusWidth;
    if (treatment == Treatment::prominent)
        paintRing(painter, bounds.adjusted(gap, gap, -gap, -gap), cornerRadius - 0.75 * gap,
                  theme.prominentText, filledFocusWidth);
    else
        paintRing(painter, bounds, cornerRadius - 0.5, theme.focus);
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
    if (symbol != Symbol::none)
        drawSymbol(painter, symbolSquare.translated(left, 0), symbol, inkColor());
    left += symbolRoom();
    // Half the padding may be used before a letter is made smaller.
    const double right = bounds.right() - padding / 2;
    drawFittedLine(painter, QRectF(left, bounds.top(), right - left, bounds.height()), text(), font,
                   inkColor());
}

UtilityCheckBox::UtilityCheckBox(const ViewStyle& viewStyle, const QString& text, QWidget* parent)
    : QCheckBox(text, parent), style(viewStyle) {
    setFocusPolicy(Qt::TabFocus); // the ring is for the keyboard: a click does not move it here
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
}

QSize UtilityCheckBox::sizeHint() const {
    const double width = textLeft + lineWidth(text(), designFont(FontRole::body)) + textRight;
    return {static_cast<int>(std::ceil(width * style.scale)),
            static_cast<int>(std::ceil(buttonHeight * style.scale))};
}

void UtilityCheckBox::keyPressEvent(QKeyEvent* event) {
    if (!pressByReturn(*this, *event))
        QCheckBox::keyPressEvent(event);
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
        fillRounded(painter, box, boxRadius,
                    faded(isDown() ? theme.prominent.darker(118) : theme.prominent));
        drawSymbol(painter, box.adjusted(2, 2, -2, -2), Symbol::check, theme.prominentText);
    } else {
        const bool isHovered = underMouse() && isEnabled();
        paintOutlined(painter, box, boxRadius, faded(isHovered ? theme.text : theme.secondaryText),
                      isDown() ? theme.buttonPressed : theme.button);
    }
    if (hasFocus())
        paintRing(painter, box.adjusted(-3, -3, 3, 3), boxRadius + 2, theme.focus);
}

PinBox::PinBox(const ViewStyle& viewStyle, const QString& text, const UtilityActions& actions,
               QWidget* parent)
    : UtilityCheckBox(viewStyle, text, parent) {
    // Not its clicks: a screen reader toggles it without one.
    connect(this, &QAbstractButton::toggled, this,
            [&actions](bool checked) { actions.setPinned(checked); });
}

void PinBox::present(const UtilityFields& fields) {
    const QSignalBlocker nobodyChose(this);
    setChecked(fields.pinned && fields.canBePlaced);
    setEnabled(fields.canBePlaced);
    setToolTip(fields.canBePlaced
                   ? QStringLiteral("Keep this window above all others")
                   : QStringLiteral("This desktop lets no window keep itself above others"));
}

UtilityButton* makeQuitButton(const ViewStyle& style, const UtilityActions& actions,
                              QWidget* parent) {
    auto* const button = new UtilityButton(style, QStringLiteral("Quit Tallywick"), Symbol::close,
                                           UtilityButton::Treatment::bare, parent);
    button->setToolTip(button->text());
    performOnClick(button, actions, UtilityCommand::quit);
    return button;
}

} // namespace tallywick

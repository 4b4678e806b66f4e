#include "views/SheetText.h"

namespace tallywick {

SheetText::SheetText(FontRole role, Ink chosenInk, const QString& text, QWidget* parent)
    : QLabel(parent), ink(chosenInk) {
    setTextFormat(Qt::PlainText); // before the text: it is never taken for markup
    setText(text);
    setFont(designFont(role));
    setWordWrap(true);
}

void SheetText::setTheme(const Theme& theme) {
    const QColor color = ink == Ink::accent      ? theme.accentText
                         : ink == Ink::secondary ? theme.secondaryText
                                                 : theme.text;
    QPalette colors = palette();
    colors.setColor(QPalette::WindowText, color);
    setPalette(colors);
}

} // namespace tallywick

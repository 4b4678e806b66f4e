#include "views/SheetText.h"

namespace tallywick {

namespace {

/// The last two words held together, if they are short enough to stand in any line.
QString withoutLoneWord(QString text) {
    constexpr qsizetype longestPair = 24;
    constexpr char16_t noBreakSpace = 0xa0;
    const qsizetype last = text.lastIndexOf(u' ');
    if (last > 0 && text.size() - text.lastIndexOf(u' ', last - 1) <= longestPair)
        text[last] = noBreakSpace;
    return text;
}

} // namespace

SheetText::SheetText(FontRole role, Ink chosenInk, const QString& text, QWidget* parent)
    : QLabel(parent), ink(chosenInk) {
    setTextFormat(Qt::PlainText); // before the text: it is never taken for markup
    setText(text);
    setFont(designFont(role));
    setWordWrap(true);
}

void SheetText::setText(const QString& text) {
    if (text == accessibleName())
        return;
    QLabel::setText(withoutLoneWord(text));
    setAccessibleName(text);
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

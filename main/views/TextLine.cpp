#include "views/TextLine.h"

#include "views/TextPainting.h"

namespace tallywick {

TextLine::TextLine(const ViewStyle& viewStyle, const Look& wantedLook, QWidget* parent)
    : Figure(parent), style(viewStyle), look(wantedLook) {}

void TextLine::present(const QString& text, const QString& newHelp) {
    if (text == shown && newHelp == help)
        return;
    if (text != shown)
        update();
    shown = text;
    help = newHelp;
    describeLine();
}

void TextLine::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    const auto draw = look.figures ? drawFigures : drawLine;
    draw(painter, painter.bounds(), shown, designFont(look.font), style.theme.*look.color,
         look.alignment);
}

void TextLine::resizeEvent(QResizeEvent*) { describeLine(); }

bool TextLine::isElided() const {
    const auto measure = look.figures ? figuresWidth : lineWidth;
    return measure(shown, designFont(look.font)) > width() / style.scale;
}

void TextLine::describeLine() { describe(shown, {}, help.isEmpty() && isElided() ? shown : help); }

} // namespace tallywick

#include "views/parts/Cards.h"

#include "codex/AccountAnswers.h"
#include "state/NumberTexts.h"

namespace tallywick {

namespace {

constexpr double cornerRadius = 8;
constexpr double padding = 12;
constexpr double titleHeight = 14;
constexpr double valueHeight = 24;
constexpr double symbolSize = 22;

} // namespace

FigureCard::FigureCard(const ViewStyle& viewStyle, Symbol symbol, QWidget* parent)
    : Figure(viewStyle, parent), shownSymbol(symbol) {}

void FigureCard::setTexts(const QString& title, const QString& figure) {
    if (title == shownTitle && figure == shownValue)
        return;
    shownTitle = title;
    shownValue = figure;
    update();
}

/// The room of the texts, which leave the symbol its own beside them.
double FigureCard::textWidth() const {
    return width() / style.scale - 2 * padding
           - (shownSymbol == Symbol::none ? 0 : symbolSize + padding);
}

bool FigureCard::showsAll() const {
    return lineWidth(shownTitle, designFont(FontRole::caption)) <= textWidth()
           && figuresWidth(shownValue, designFont(FontRole::figure)) <= textWidth();
}

void FigureCard::paintEvent(QPaintEvent* /*event*/) {
    PartPainter painter(this, style);
    const QRectF& area = painter.bounds();
    const Theme& theme = style.theme;
    paintOutlined(painter, area, cornerRadius, theme.cardOutline, theme.card);
    const double top = area.center().y() - (titleHeight + valueHeight) / 2;
    const QRectF titlePlace(area.left() + padding, top, textWidth(), titleHeight);
    const QRectF valuePlace(titlePlace.left(), titlePlace.bottom(), textWidth(), valueHeight);
    drawLine(painter, titlePlace, shownTitle, designFont(FontRole::caption), theme.secondaryText);
    drawFigures(painter, valuePlace, shownValue, designFont(FontRole::figure), theme.text);
    drawSymbol(painter,
               QRectF(area.right() - padding - symbolSize, area.center().y() - symbolSize / 2,
                      symbolSize, symbolSize),
               shownSymbol, theme.accent);
}

MetricCard::MetricCard(const ViewStyle& viewStyle, const QString& cardTitle, Symbol symbol,
                       QWidget* parent)
    : FigureCard(viewStyle, symbol, parent), title(cardTitle) {
    present(std::nullopt);
}

void MetricCard::present(std::optional<double> percent) {
    describe(title, QString::fromStdString(loadAccessibilityValue(percent)));
    setTexts(title, QString::fromStdString(loadText(percent)));
}

void TokenCard::present(std::string_view title, std::optional<std::int64_t> count,
                        std::string_view tokenStatus) {
    const QString caption = QString::fromUtf8(title);
    const QString figure = QString::fromStdString(compactTokenCount(count));
    describe(caption, figure, QString::fromStdString(tokenTooltip(tokenStatus, count)));
    setTexts(caption, figure);
}

} // namespace tallywick

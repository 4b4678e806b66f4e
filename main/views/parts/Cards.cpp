#include "views/parts/Cards.h"

#include "codex/AccountAnswers.h"
#include "state/NumberTexts.h"
#include "views/look/Symbols.h"
#include "views/look/TextPainting.h"

#include <utility>

namespace tallywick {

namespace {

constexpr double cornerRadius = 8;
constexpr double padding = 12;
constexpr double titleHeight = 14;
constexpr double valueHeight = 24;
constexpr double symbolSize = 22;

/// The space of the texts, which leave the symbol room beside them.
double textWidth(double cardWidth, bool hasSymbol) {
    return cardWidth - 2 * padding - (hasSymbol ? symbolSize + padding : 0);
}

} // namespace

void paintCard(QPainter& painter, const QRectF& area, const Theme& theme,
               const CardContent& content) {
    painter.setPen(QPen(theme.cardOutline, 1));
    painter.setBrush(theme.card);
    painter.drawRoundedRect(area.adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);

    const double width = textWidth(area.width(), !content.symbol.empty());
    const double top = area.center().y() - (titleHeight + valueHeight) / 2;
    const QRectF title(area.left() + padding, top, width, titleHeight);
    drawLine(painter, title, content.title, designFont(FontRole::caption), theme.secondaryText);
    drawFigures(painter, QRectF(title.left(), title.bottom(), width, valueHeight), content.value,
                designFont(FontRole::figure), theme.text);
    const QRectF symbol(area.right() - padding - symbolSize, area.center().y() - symbolSize / 2,
                        symbolSize, symbolSize);
    drawSymbol(painter, symbol, content.symbol, theme.accent);
}

bool cardFits(const CardContent& content, double width) {
    const double available = textWidth(width, !content.symbol.empty());
    return lineWidth(content.title, designFont(FontRole::caption)) <= available
           && figuresWidth(content.value, designFont(FontRole::figure)) <= available;
}

FigureCard::FigureCard(const ViewStyle& viewStyle, QWidget* parent)
    : Figure(parent), style(viewStyle) {}

void FigureCard::setContent(const CardContent& content) {
    if (content == shown)
        return;
    shown = content;
    update();
}

void FigureCard::paintEvent(QPaintEvent* /*event*/) {
    PartPainter painter(this, style);
    paintCard(painter, painter.bounds(), style.theme, shown);
}

MetricCard::MetricCard(const ViewStyle& viewStyle, std::string cardTitle, QWidget* parent)
    : FigureCard(viewStyle, parent), title(std::move(cardTitle)) {
    present(std::nullopt);
}

void MetricCard::present(std::optional<double> percent) {
    const QString shownTitle = QString::fromStdString(title);
    describe(shownTitle, QString::fromStdString(loadAccessibilityValue(percent)));
    setContent({shownTitle, QString::fromStdString(loadText(percent)), loadSymbol(title)});
}

void TokenCard::present(std::string_view title, std::optional<std::int64_t> count,
                        std::string_view tokenStatus) {
    const CardContent content{
        QString::fromUtf8(title), QString::fromStdString(compactTokenCount(count)), {}};
    describe(content.title, content.value,
             QString::fromStdString(tokenTooltip(tokenStatus, count)));
    setContent(content);
}

} // namespace tallywick

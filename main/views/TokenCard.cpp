#include "views/TokenCard.h"

#include "codex/TokenActivity.h"
#include "state/NumberTexts.h"

namespace tallywick {

TokenCard::TokenCard(const ViewStyle& viewStyle, QWidget* parent)
    : Figure(parent), style(viewStyle) {}

void TokenCard::present(std::string_view title, std::optional<std::int64_t> count,
                        std::string_view tokenStatus) {
    const CardContent content{
        QString::fromUtf8(title), QString::fromStdString(compactTokenCount(count)), {}};
    describe(content.title, content.value,
             QString::fromStdString(tokenTooltip(tokenStatus, count)));
    if (content == shown)
        return;
    shown = content;
    update();
}

void TokenCard::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    paintCard(painter, painter.bounds(), style.theme, shown);
}

} // namespace tallywick

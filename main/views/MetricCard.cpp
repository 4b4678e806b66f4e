#include "views/MetricCard.h"

#include "state/NumberTexts.h"

namespace tallywick {

MetricCard::MetricCard(const ViewStyle& viewStyle, std::string_view title, QWidget* parent)
    : Figure(parent), style(viewStyle), shown{QString::fromUtf8(title), {}, loadSymbol(title)} {
    present(std::nullopt);
}

void MetricCard::present(std::optional<double> percent) {
    describe(shown.title, QString::fromStdString(loadAccessibilityValue(percent)));
    const QString load = QString::fromStdString(loadText(percent));
    if (load == shown.value)
        return;
    shown.value = load;
    update();
}

void MetricCard::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    paintCard(painter, painter.bounds(), style.theme, shown);
}

} // namespace tallywick

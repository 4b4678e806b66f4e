#include "views/MetricCard.h"

#include "state/NumberTexts.h"

#include <utility>

namespace tallywick {

MetricCard::MetricCard(const ViewStyle& viewStyle, std::string cardTitle, QWidget* parent)
    : FigureCard(viewStyle, parent), title(std::move(cardTitle)) {
    present(std::nullopt);
}

void MetricCard::present(std::optional<double> percent) {
    const QString shownTitle = QString::fromStdString(title);
    describe(shownTitle, QString::fromStdString(loadAccessibilityValue(percent)));
    setContent({shownTitle, QString::fromStdString(loadText(percent)), loadSymbol(title)});
}

} // namespace tallywick

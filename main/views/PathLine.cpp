#include "views/PathLine.h"

#include "views/Fonts.h"
#include "views/TextPainting.h"

#include <QFontMetricsF>

#include <cmath>

namespace tallywick {

PathLine::PathLine(const ViewStyle& viewStyle, const QString& accessibleName, QWidget* parent)
    : Figure(parent), style(viewStyle), name(accessibleName) {
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

void PathLine::present(const QString& path) {
    const QString line = oneLine(path);
    if (line == accessibleValue())
        return;
    describe(name, line, line);
    update();
}

QSize PathLine::sizeHint() const {
    const double height = QFontMetricsF(designFont(FontRole::strong)).height();
    return {1, static_cast<int>(std::ceil(height * style.scale))};
}

void PathLine::paintEvent(QPaintEvent* /*event*/) {
    PartPainter painter(this, style);
    drawLine(painter, painter.bounds(), accessibleValue(), designFont(FontRole::strong),
             style.theme.text);
}

} // namespace tallywick

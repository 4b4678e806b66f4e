#include "views/StatusBadge.h"

#include "views/Fonts.h"
#include "views/TextPainting.h"

#include <algorithm>

namespace tallywick {

StatusBadge::StatusBadge(const ViewStyle& viewStyle, QWidget* parent)
    : Figure(parent), style(viewStyle) {}

void StatusBadge::present(std::string_view word, bool newLive) {
    const QString text = QString::fromUtf8(word);
    if (text == shown && newLive == live)
        return;
    shown = text;
    live = newLive;
    describe(QStringLiteral("Connection"), shown);
    update();
}

void StatusBadge::paintEvent(QPaintEvent*) {
    constexpr double padding = 9;
    PartPainter painter(this, style);
    const QFont font = designFont(FontRole::caption);
    QRectF pill = painter.bounds();
    pill.setLeft(pill.right() - std::min(lineWidth(shown, font) + 2 * padding, pill.width()));
    const QColor color = live ? style.theme.accentText : style.theme.secondaryText;
    const double radius = pill.height() / 2;
    painter.setPen(QPen(color, 1));
    painter.setBrush(live ? style.theme.accentTint : style.theme.card);
    painter.drawRoundedRect(pill.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    drawLine(painter, pill, shown, font, color, Qt::AlignHCenter);
}

} // namespace tallywick

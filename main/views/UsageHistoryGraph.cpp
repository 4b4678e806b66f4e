#include "views/UsageHistoryGraph.h"

#include "state/HistoryGraphTexts.h"
#include "views/HistoryGraphPainter.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tallywick {

namespace {

/// Without a reset the week slides on with the clock, by far less than a pixel at a time. What has
/// moved by less than this is not drawn anew.
constexpr double visibleMove = 0.25;

bool looksAlike(const HistoryGraphPoint& one, const HistoryGraphPoint& other) {
    const QPointF move = one.location - other.location;
    return one.startsSegment == other.startsSegment && std::abs(move.x()) < visibleMove
           && std::abs(move.y()) < visibleMove;
}

} // namespace

UsageHistoryGraph::UsageHistoryGraph(const ViewStyle& viewStyle, QWidget* parent)
    : Figure(parent), style(viewStyle) {
    present({}, 0, std::nullopt);
}

void UsageHistoryGraph::present(const std::vector<UsageSample>& samples, Timestamp newNow,
                                std::optional<Timestamp> newReset) {
    now = newNow;
    reset = newReset;
    week = HistoryGraphModel::weekSamples(samples, now, reset);
    describe(QString::fromUtf8(historyGraphLabel),
             QString::fromStdString(historyGraphValue(week.size())),
             QString::fromStdString(historyGraphHelp(week)));
    std::vector<HistoryGraphPoint> newPoints = currentPoints();
    if (std::ranges::equal(newPoints, points, looksAlike))
        return;
    points = std::move(newPoints);
    update();
}

void UsageHistoryGraph::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    paintHistoryGraph(painter, painter.bounds(), style.theme, points);
}

void UsageHistoryGraph::resizeEvent(QResizeEvent*) { points = currentPoints(); }

std::vector<HistoryGraphPoint> UsageHistoryGraph::currentPoints() const {
    return HistoryGraphModel::points(week, now, reset, QSizeF(size()) / style.scale);
}

} // namespace tallywick

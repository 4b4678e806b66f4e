#pragma once

#include "codex/AccountAnswers.h"
#include "history/HistoryGraphModel.h"
#include "views/look/Painting.h"
#include "views/look/Theme.h"
#include "views/parts/Figures.h"

#include <QPainter>
#include <QRectF>

#include <optional>
#include <span>
#include <vector>

namespace tallywick {

/// How many of the meter's 50 segments are filled: each that begins below the value stands for two
/// percent. None without a value.
int filledSegments(std::optional<double> percent);

/// Draws the meter with so many of its segments filled.
void paintMeter(QPainter& painter, const QRectF& area, const Theme& theme, int filled);

/// The weekly meter.
class SegmentedMeter final : public Figure {
    Q_OBJECT

  public:
    using Figure::Figure;

    void present(const std::optional<Quota>& quota);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    int filled = 0;
};

/// Draws the graph of the allowance week: its frame, a grid of days, and the points joined where no
/// segment starts. The points are given relative to the area's top left corner.
void paintHistoryGraph(QPainter& painter, const QRectF& area, const Theme& theme,
                       std::span<const HistoryGraphPoint> points);

/// The usage of the current allowance week, as far as this program has observed it.
class UsageHistoryGraph final : public Figure {
    Q_OBJECT

  public:
    UsageHistoryGraph(const ViewStyle& style, QWidget* parent);

    void present(const HistoryGraph& graph);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void describeShown();

    HistoryGraph shown;
};

} // namespace tallywick

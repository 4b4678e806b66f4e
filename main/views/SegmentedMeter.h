#pragma once

#include "codex/AccountAnswers.h"
#include "views/Figure.h"
#include "views/ViewStyle.h"

#include <optional>

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
    SegmentedMeter(const ViewStyle& style, QWidget* parent);

    void present(const std::optional<Quota>& quota);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    int filled = 0;
};

} // namespace tallywick

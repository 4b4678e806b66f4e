#pragma once

#include "codex/AccountAnswers.h"
#include "views/Figure.h"
#include "views/ViewStyle.h"

#include <optional>

namespace tallywick {

/// The big number of the full layout with its unit, "42" and "% used".
class WeeklyFigure final : public Figure {
    Q_OBJECT

  public:
    WeeklyFigure(const ViewStyle& style, QWidget* parent);

    void present(const std::optional<Quota>& quota);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    bool isKnown = false;
    QString number;
    QString unit;
};

} // namespace tallywick

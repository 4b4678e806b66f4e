#pragma once

#include "history/HistoryGraphModel.h"
#include "views/Figure.h"
#include "views/ViewStyle.h"

#include <optional>
#include <vector>

namespace tallywick {

/// The usage of the current allowance week, as far as this program has observed it.
class UsageHistoryGraph final : public Figure {
    Q_OBJECT

  public:
    UsageHistoryGraph(const ViewStyle& style, QWidget* parent);

    /// `reset` is that of the present reading; absent without one.
    void present(const std::vector<UsageSample>& samples, Timestamp now,
                 std::optional<Timestamp> reset);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    std::vector<HistoryGraphPoint> currentPoints() const;

    const ViewStyle& style;
    std::vector<UsageSample> week; ///< the samples that are shown
    Timestamp now = 0;
    std::optional<Timestamp> reset;
    std::vector<HistoryGraphPoint> points; ///< as they were last drawn
};

} // namespace tallywick

#pragma once

#include "views/CardPainter.h"
#include "views/Figure.h"
#include "views/ViewStyle.h"

#include <optional>
#include <string_view>

namespace tallywick {

/// A card of one load of this machine. Its title chooses its symbol.
class MetricCard final : public Figure {
    Q_OBJECT

  public:
    MetricCard(const ViewStyle& style, std::string_view title, QWidget* parent);

    /// Absent until it has been measured.
    void present(std::optional<double> percent);

    const CardContent& content() const { return shown; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    CardContent shown;
};

} // namespace tallywick

#pragma once

#include "views/FigureCard.h"

#include <optional>
#include <string>

namespace tallywick {

/// A card of one load of this machine. Its title chooses its symbol.
class MetricCard final : public FigureCard {
    Q_OBJECT

  public:
    MetricCard(const ViewStyle& style, std::string title, QWidget* parent);

    /// Absent until it has been measured.
    void present(std::optional<double> percent);

  private:
    const std::string title;
};

} // namespace tallywick

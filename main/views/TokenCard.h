#pragma once

#include "views/FigureCard.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace tallywick {

/// A card of a token count: short on the card, with all its digits in the tooltip.
class TokenCard final : public FigureCard {
    Q_OBJECT

  public:
    TokenCard(const ViewStyle& viewStyle, QWidget* parent) : FigureCard(viewStyle, parent) {}

    /// `tokenStatus` tells how far the count is to be trusted.
    void present(std::string_view title, std::optional<std::int64_t> count,
                 std::string_view tokenStatus);
};

} // namespace tallywick

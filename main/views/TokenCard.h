#pragma once

#include "views/CardPainter.h"
#include "views/Figure.h"
#include "views/ViewStyle.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// A card of a token count: short on the card, with all its digits in the tooltip.
class TokenCard final : public Figure {
    Q_OBJECT

  public:
    TokenCard(const ViewStyle& style, QWidget* parent);

    /// `tokenStatus` tells how far the count is to be trusted.
    void present(std::string_view title, std::optional<std::int64_t> count,
                 std::string_view tokenStatus);

    const CardContent& content() const { return shown; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    CardContent shown;
};

} // namespace tallywick

#pragma once

#include "views/look/Painting.h"
#include "views/look/Theme.h"
#include "views/parts/Figures.h"

#include <QPainter>
#include <QRectF>
#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// What a card shows.
struct CardContent {
    QString title;
    QString value;
    std::string_view symbol; ///< in the accent colour; empty: none

    bool operator==(const CardContent&) const = default;
};

/// Draws a card: a rounded area with its title over its value. The value keeps its place when a
/// digit changes.
void paintCard(QPainter& painter, const QRectF& area, const Theme& theme,
               const CardContent& content);

/// Whether all of a card's text can be read in this width.
bool cardFits(const CardContent& content, double width);

/// A card that is a figure. The kinds of cards decide what it shows and tells.
class FigureCard : public Figure {
    Q_OBJECT

  public:
    const CardContent& content() const { return shown; }

  protected:
    /// The style must outlive the card.
    FigureCard(const ViewStyle& style, QWidget* parent);

    /// Draws the card anew when this is not what it shows.
    void setContent(const CardContent& content);

    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    CardContent shown;
};

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

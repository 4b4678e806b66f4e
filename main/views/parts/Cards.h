#pragma once

#include "views/look/Symbols.h"
#include "views/parts/Figures.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <string_view>

namespace tallywick {

/// A card: a rounded area with a title over a value, which keeps its place when a digit changes,
/// and perhaps a symbol. The kinds of cards decide what it shows and tells.
class FigureCard : public Figure {
    Q_OBJECT

  public:
    /// Whether all of its text can be read.
    bool showsAll() const;

  protected:
    FigureCard(const ViewStyle& style, Symbol symbol, QWidget* parent);

    /// Draws the card anew when this is not what it shows.
    void setTexts(const QString& title, const QString& value);

    void paintEvent(QPaintEvent* event) override;

  private:
    double textWidth() const;

    const Symbol shownSymbol; ///< in the accent colour
    QString shownTitle;
    QString shownValue;
};

/// A card of one load of this machine.
class MetricCard final : public FigureCard {
    Q_OBJECT

  public:
    MetricCard(const ViewStyle& style, const QString& title, Symbol symbol, QWidget* parent);

    /// Absent until it has been measured.
    void present(std::optional<double> percent);

  private:
    const QString title;
};

/// A card of a token count: short on the card, with all its digits in the tooltip.
class TokenCard final : public FigureCard {
    Q_OBJECT

  public:
    TokenCard(const ViewStyle& viewStyle, QWidget* parent)
        : FigureCard(viewStyle, Symbol::none, parent) {}

    /// `tokenStatus` tells how far the count is to be trusted.
    void present(std::string_view title, std::optional<std::int64_t> count,
                 std::string_view tokenStatus);
};

} // namespace tallywick

#pragma once

#include "views/CardPainter.h"
#include "views/Figure.h"
#include "views/ViewStyle.h"

namespace tallywick {

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

} // namespace tallywick

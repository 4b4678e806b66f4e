#pragma once

#include "views/ViewStyle.h"

#include <QWidget>

class QVBoxLayout;

namespace tallywick {

/// A card of a sheet: the frame around what belongs together, one below the other.
class SheetCard final : public QWidget {
    Q_OBJECT

  public:
    /// The style must outlive the card.
    explicit SheetCard(const ViewStyle& style, QWidget* parent = nullptr);

    QVBoxLayout& column() { return *content; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    QVBoxLayout* content;
};

} // namespace tallywick

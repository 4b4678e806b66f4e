#pragma once

#include "views/Figure.h"
#include "views/ViewStyle.h"

#include <string_view>

namespace tallywick {

/// One word for the status in a rounded frame at the right end of its place.
class StatusBadge final : public Figure {
    Q_OBJECT

  public:
    StatusBadge(const ViewStyle& style, QWidget* parent);

    /// A live reading has the accent colour.
    void present(std::string_view word, bool live);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    QString shown;
    bool live = false;
};

} // namespace tallywick

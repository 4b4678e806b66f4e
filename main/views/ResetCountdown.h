#pragma once

#include "views/Figure.h"
#include "views/ViewStyle.h"

#include <optional>
#include <string>

namespace tallywick {

/// The time left until the reset, with its caption; empty without one.
class ResetCountdown final : public Figure {
    Q_OBJECT

  public:
    ResetCountdown(const ViewStyle& style, QWidget* parent);

    void present(const std::optional<std::string>& countdown);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    QString shown;
};

} // namespace tallywick

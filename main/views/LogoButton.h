#pragma once

#include "views/PressablePart.h"

#include <QPixmap>

namespace tallywick {

/// The maker's mark, which leads to the maker's website.
class LogoButton final : public PressablePart {
    Q_OBJECT

  public:
    LogoButton(const ViewStyle& style, QWidget* parent);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const QPixmap& logoOfSize(QSize pixels);

    QPixmap logo; ///< at the size in pixels that was last needed
};

} // namespace tallywick

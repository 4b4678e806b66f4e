#pragma once

#include "views/ViewStyle.h"

#include <QScrollBar>

namespace tallywick {

/// The vertical scroll bar of a sheet in the sheet's colours: a slim thumb and nothing around it.
class SheetScrollBar final : public QScrollBar {
    Q_OBJECT

  public:
    /// The style must outlive the bar.
    explicit SheetScrollBar(const ViewStyle& style, QWidget* parent = nullptr);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
};

} // namespace tallywick

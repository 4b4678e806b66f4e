#pragma once

#include "views/Figure.h"
#include "views/ViewStyle.h"

namespace tallywick {

/// A file's path in one line of a sheet, elided in its middle where it does not fit, and whole as
/// its tooltip.
class PathLine final : public Figure {
    Q_OBJECT

  public:
    /// `name` is what a screen reader calls it. The style must outlive the line.
    PathLine(const ViewStyle& style, const QString& name, QWidget* parent = nullptr);

    void present(const QString& path);

    /// As high as its line. It takes whatever width there is.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    const QString name;
};

} // namespace tallywick

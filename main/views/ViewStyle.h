#pragma once

#include "views/Theme.h"

#include <QPainter>
#include <QRectF>
#include <QWidget>

namespace tallywick {

/// What all parts of one window share for drawing. The window's root owns it and repaints every
/// part when it changes it; the parts hold a reference.
struct ViewStyle {
    Theme theme;
    double scale = 1; ///< points of the window to a design unit
};

/// Paints one part in design units, with the origin in the part's top left corner, antialiased.
class PartPainter : public QPainter {
  public:
    PartPainter(QWidget* part, const ViewStyle& style);

    /// The part's area.
    const QRectF& bounds() const { return area; }

  private:
    QRectF area;
};

} // namespace tallywick

#pragma once

#include "views/look/Theme.h"

#include <QBrush>
#include <QColor>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRect>
#include <QRectF>
#include <QRegion>
#include <QString>
#include <QWidget>

namespace tallywick {

/// The colour at an opacity from 0 to 1.
inline QColor withOpacity(QColor color, double opacity) {
    color.setAlphaF(static_cast<float>(opacity));
    return color;
}

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

/// The backdrop of the theme for an area, from its top to its bottom.
QLinearGradient backdropOf(const QRectF& area, const Theme& theme);

/// Draws a thin line between two sections, which fades at both ends: by night in the accent colour,
/// by day in grey.
void paintDivider(QPainter& painter, const QRectF& area, const Theme& theme);

/// Fills an area with round corners.
void fillRounded(QPainter& painter, const QRectF& area, double radius, const QBrush& fill);

/// Fills an area with round corners, with an outline of one unit inside its edge.
void paintOutlined(QPainter& painter, const QRectF& area, double radius, const QBrush& outline,
                   const QBrush& fill);

/// Draws the ring around what has the keyboard, inside the edge of the area.
void paintRing(QPainter& painter, const QRectF& area, double radius, const QColor& color,
               double width = 2);

/// A window of its own with round corners, which a mask cuts: that needs no compositor.

/// What of it is seen: not its corners. The radius is in points.
QRegion roundedRegion(const QRect& area, double radius);

/// Paints it with a border of one point.
void paintRoundedPanel(QPainter& painter, const QRect& area, double radius, const QColor& border,
                       const QBrush& ground);

/// One of the PNG pictures inside the program, by its file's name.
QImage builtInPicture(const QString& name);

} // namespace tallywick

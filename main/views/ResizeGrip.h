#pragma once

#include "views/PressablePart.h"
#include "views/UtilityActions.h"

#include <QPointF>

#include <optional>

namespace tallywick {

/// The corner by which the window is resized. Dragging it resizes; a press with the keyboard or by
/// a screen reader switches the layouts, a click with the mouse does nothing. It stays as large as
/// it is at every scale of the layout.
class ResizeGrip final : public PressablePart {
    Q_OBJECT

  public:
    /// Both references outlive the grip.
    ResizeGrip(const ViewStyle& style, const UtilityActions& actions, QWidget* parent);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    const UtilityActions& actions;
    std::optional<QPointF> dragOrigin; ///< on the screen
    bool didDrag = false;
};

} // namespace tallywick

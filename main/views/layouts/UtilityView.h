#pragma once

#include "state/UtilityFields.h"
#include "views/look/Painting.h"
#include "views/parts/Buttons.h"
#include "views/parts/UtilityActions.h"

#include <QPointF>
#include <QWidget>

#include <optional>

namespace tallywick {

class FullView;
class MiniView;

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
    void letGo();

    const UtilityActions& actions;
    std::optional<QPointF> dragOrigin; ///< on the screen
    bool didDrag = false;
};

/// The whole content of the window: the backdrop, the layout that fits its height or that the user
/// has chosen for a size imposed by the desktop, and the resize grip. Shows what it is given,
/// repaints only what differs from before, and turns the user's clicks into actions. Main thread
/// only.
class UtilityView final : public QWidget {
    Q_OBJECT

  public:
    /// The actions must outlive the view.
    explicit UtilityView(const UtilityActions& actions, QWidget* parent = nullptr);

    /// Shows these values. `availableHeight` is the most that the content of the window may take on
    /// its screen, in points.
    void present(const UtilityFields& fields, double availableHeight);

    void setColors(const ColorPreferences& preferences);

    const ViewStyle& viewStyle() const { return style; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    /// Makes the theme anew; the parts are drawn on the backdrop, and repainted with it.
    void changeTheme();
    void arrange();
    void showMini(const QRect& place);
    void showFull(const QRect& place, double layoutHeight);
    void exchange(QWidget* hidden, QWidget* shownNow, QWidget* toggle);
    void keepGripLast();

    const UtilityActions& actions;
    UtilityFields shown;
    double availableHeight;
    ColorPreferences colors;
    ViewStyle style;
    ResizeGrip* const grip;
    MiniView* miniView = nullptr;   ///< made when first needed
    FullView* fullView = nullptr;   ///< made when first needed
    QWidget* shownLayout = nullptr; ///< of these two, the one that is shown
};

} // namespace tallywick

#pragma once

#include "state/UtilityFields.h"
#include "views/UtilityActions.h"
#include "views/ViewStyle.h"

#include <QWidget>

namespace tallywick {

class FullView;
class MiniView;
class ResizeGrip;

/// The whole content of the window: the backdrop, the layout that fits its height or that the user
/// has chosen for a size imposed by the desktop, and the resize grip. Shows what it is given,
/// repaints only what differs from before, and turns the user's clicks into actions. Main thread
/// only.
class UtilityView final : public QWidget {
    Q_OBJECT

  public:
    explicit UtilityView(UtilityActions actions, QWidget* parent = nullptr);

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
    void setStyle(const Theme& theme, double scale);
    void arrange();
    void showMini(const QRect& place);
    void showFull(const QRect& place, double layoutHeight);
    void exchange(QWidget* hidden, QWidget* shownNow, QWidget* toggle);
    void keepGripLast();

    const UtilityActions actions;
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

#pragma once

#include "state/UtilityWindow.h"
#include "views/layouts/UtilityView.h"
#include "views/parts/Menus.h"
#include "views/parts/UtilityActions.h"
#include "views/sheets/SheetHost.h"

#include <QTimer>
#include <QWidget>

#include <optional>

namespace tallywick {

class UtilityState;

/// The utility's window on the desktop: the content, the menu with its shortcuts, and the sheets
/// over it. It shows what the state publishes, though nothing as long as it cannot be seen, and
/// tells the state what the user does with the window. Main thread only.
///
/// The desktop does not say when the user lets go of the window's edge, so a resize or a move
/// counts as finished when nothing more has come for half a second. Nor does it say that it refuses
/// a size: this is seen then, too.
///
/// The limits of its size are told to the window system alone: what the desktop makes of them, the
/// widget takes, and paints all of it. Where the desktop places the window, they let no other size
/// through than the one that it has, unless the grip is dragged; and since some desktops give it no
/// title bar there, it is moved by whatever in it takes no press.
class MainWindow final : public QWidget, public UtilityWindow {
    Q_OBJECT

  public:
    /// Attaches itself to the state, which must outlive it, and takes the size and the place that
    /// were kept. The owner shows it.
    explicit MainWindow(UtilityState& state);
    ~MainWindow() override;

    void setColors(const ColorPreferences& preferences);
    const Theme& theme() const { return view.viewStyle().theme; }

    bool isVisible() const override;
    bool isMinimised() const override;
    bool isZoomed() const override;
    QRectF frame() const override;
    QSizeF contentSize() const override;
    bool canBePlaced() const override;
    std::optional<QRectF> visibleScreenFrame() const override;
    void setFrame(QRectF frame) override;
    void setContentLimits(QSizeF minimum, QSizeF maximum) override;
    void setFloating(bool floating) override;
    void showInFront(const std::string& launchToken) override;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

  private:
    void present();
    void colorTheRest();
    void offerMenuToDesktop();
    void watchScreens();
    void exposureDidChange();
    void settle();
    void applyLimits();
    bool startSystemResize();

    UtilityState& state;
    const UtilityActions actions;
    UtilityView view;
    UtilityMenu menu;
    SheetHost sheets;
    QTimer settling;
    bool exposed = false;
    std::optional<Theme> worn; ///< by what the views do not paint themselves
    QPoint askedPlace;         ///< of the frame
    bool holdsSize = false;    ///< where the desktop places the window
    bool isGripped = false;    ///< the compositor resizes it
    QSize minimumContent;
    QSize maximumContent;
};

} // namespace tallywick

#pragma once

#include "state/UtilityFields.h"
#include "views/parts/UtilityActions.h"

#include <QMenu>

class QAccessibleInterface;

namespace tallywick {

/// A menu that opens over the window. As long as it is open a screen reader meets it below the
/// window, with its title for a name; it is told when the menu opens, and of each item that is
/// reached.
class PopupMenu : public QMenu {
    Q_OBJECT

  public:
    PopupMenu(const QString& title, QWidget* parent);

    /// The one that is open over this window, or null.
    static PopupMenu* openOver(const QWidget* window);

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
};

/// The menu "Utility". Its shortcuts work wherever its actions have been added.
class UtilityMenu final : public PopupMenu {
    Q_OBJECT

  public:
    UtilityMenu(const UtilityActions& actions, std::function<void()> showUtility, QWidget* parent);

    /// Names what the items would do now.
    void present(const UtilityFields& fields);

  private:
    QAction* layoutItem;
    QAction* themeItem;
};

} // namespace tallywick

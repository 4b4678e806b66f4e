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

    /// An item that has a command performed. The actions must outlive the menu.
    QAction* addCommand(const QString& text, const UtilityActions& actions, UtilityCommand command);

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
    /// The actions must outlive the menu.
    UtilityMenu(const UtilityActions& actions, QWidget* parent);

    /// Names what the items would do now.
    void present(const UtilityFields& fields);

  private:
    QAction* layoutItem;
    QAction* themeItem;
};

} // namespace tallywick

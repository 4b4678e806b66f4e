#pragma once

#include "state/UtilityFields.h"
#include "views/PopupMenu.h"
#include "views/UtilityActions.h"

namespace tallywick {

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

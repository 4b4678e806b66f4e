#include "views/UtilityMenu.h"

#include <utility>

namespace tallywick {

UtilityMenu::UtilityMenu(const UtilityActions& actions, std::function<void()> showUtility,
                         QWidget* parent)
    : PopupMenu(QStringLiteral("Utility"), parent) {
    const auto add = [this](const QString& text, std::function<void()> action,
                            const QKeySequence& shortcut = {}) {
        QAction* item = addAction(text, this, std::move(action));
        item->setShortcut(shortcut);
        item->setShortcutVisibleInContextMenu(true);
        return item;
    };
    add(QStringLiteral("Show Utility"), std::move(showUtility));
    layoutItem = add({}, actions.toggleLayout, Qt::CTRL | Qt::SHIFT | Qt::Key_M);
    themeItem = add({}, actions.toggleTheme);
    add(QStringLiteral("Refresh Usage"), actions.refresh, Qt::CTRL | Qt::Key_R);
    add(QStringLiteral("Settings…"), actions.openSettings, Qt::CTRL | Qt::Key_Comma);
    present({});
}

void UtilityMenu::present(const UtilityFields& fields) {
    layoutItem->setText(fields.mini ? QStringLiteral("Expand") : QStringLiteral("Mini Mode"));
    themeItem->setText(fields.light ? QStringLiteral("Night Theme") : QStringLiteral("Day Theme"));
}

} // namespace tallywick

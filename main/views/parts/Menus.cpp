#include "views/parts/Menus.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QApplication>
#include <QShowEvent>

namespace tallywick {

namespace {

/// An item as a screen reader meets it.
class AccessibleItem final : public QAccessibleObject, public QAccessibleActionInterface {
  public:
    AccessibleItem(QAction* action, PopupMenu* owner) : QAccessibleObject(action), menu(owner) {}

    QAccessible::Role role() const override { return QAccessible::MenuItem; }
    QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(menu);
    }
    int childCount() const override { return 0; }
    QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }

    QString text(QAccessible::Text kind) const override {
        if (kind == QAccessible::Name)
            return action()->text();
        return kind == QAccessible::Accelerator
                   ? action()->shortcut().toString(QKeySequence::NativeText)
                   : QString();
    }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.focusable = true;
        state.focused = menu->activeAction() == action();
        state.disabled = !action()->isEnabled();
        state.invisible = !menu->isVisible();
        return state;
    }
    QRect rect() const override {
        const QRect place = menu->actionGeometry(action());
        return {menu->mapToGlobal(place.topLeft()), place.size()};
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }
    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override {
        if (name != pressAction())
            return;
        menu->close();
        action()->trigger();
    }
    QStringList keyBindingsForAction(const QString& /*name*/) const override { return {}; }

  private:
    QAction* action() const { return static_cast<QAction*>(object()); }

    PopupMenu* const menu;
};

/// The toolkit's own tells neither the menu's title nor that the window has it.
class AccessibleMenu final : public QAccessibleWidget {
  public:
    explicit AccessibleMenu(PopupMenu* menu) : QAccessibleWidget(menu, QAccessible::PopupMenu) {}

    QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(menu()->parentWidget()->window());
    }
    int childCount() const override { return static_cast<int>(menu()->actions().size()); }
    QAccessibleInterface* child(int index) const override {
        QAction* const action = menu()->actions().value(index);
        if (!action)
            return nullptr;
        QAccessibleInterface* item = QAccessible::queryAccessibleInterface(action);
        if (!item) {
            item = new AccessibleItem(action, menu());
            QAccessible::registerAccessibleInterface(item); // it goes with the action
        }
        return item;
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        return static_cast<int>(menu()->actions().indexOf(qobject_cast<QAction*>(child->object())));
    }
    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.focusable = true;
        state.focused = menu()->isVisible() && !menu()->activeAction();
        return state;
    }
    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name ? menu()->title() : QAccessibleWidget::text(kind);
    }

  private:
    PopupMenu* menu() const { return static_cast<PopupMenu*>(widget()); }
};

QAccessibleInterface* makeAccessibleMenu(const QString& /*className*/, QObject* object) {
    auto* menu = qobject_cast<PopupMenu*>(object);
    return menu && menu->parentWidget() ? new AccessibleMenu(menu) : nullptr;
}

void announce(QWidget* menu, QAccessible::Event kind) {
    QAccessibleEvent event(menu, kind);
    QAccessible::updateAccessibility(&event);
}

} // namespace

PopupMenu::PopupMenu(const QString& title, QWidget* parent) : QMenu(title, parent) {
    QAccessible::installFactory(makeAccessibleMenu);
}

QAction* PopupMenu::addCommand(const QString& text, const UtilityActions& actions,
                               UtilityCommand command) {
    return addAction(text, this, [&actions, command] { actions.perform(command); });
}

PopupMenu* PopupMenu::openOver(const QWidget* window) {
    auto* const menu = qobject_cast<PopupMenu*>(QApplication::activePopupWidget());
    return menu && menu->parentWidget() && menu->parentWidget()->window() == window ? menu
                                                                                    : nullptr;
}

void PopupMenu::showEvent(QShowEvent* event) {
    QMenu::showEvent(event);
    announce(this, QAccessible::ObjectCreated);
    if (!activeAction())
        announce(this, QAccessible::Focus);
}

void PopupMenu::hideEvent(QHideEvent* event) {
    QMenu::hideEvent(event);
    announce(this, QAccessible::ObjectDestroyed);
}

UtilityMenu::UtilityMenu(const UtilityActions& actions, QWidget* parent)
    : PopupMenu(QStringLiteral("Utility"), parent) {
    const auto add = [&](const QString& text, UtilityCommand command,
                         const QKeySequence& shortcut = {}) {
        QAction* item = addCommand(text, actions, command);
        item->setShortcut(shortcut);
        item->setShortcutVisibleInContextMenu(true);
        return item;
    };
    add(QStringLiteral("Show Utility"), UtilityCommand::showUtility);
    layoutItem = add({}, UtilityCommand::toggleLayout, Qt::CTRL | Qt::SHIFT | Qt::Key_M);
    themeItem = add({}, UtilityCommand::toggleTheme);
    add(QStringLiteral("Refresh Usage"), UtilityCommand::refresh, Qt::CTRL | Qt::Key_R);
    add(QStringLiteral("Settings…"), UtilityCommand::openSettings, Qt::CTRL | Qt::Key_Comma);
    present({});
}

void UtilityMenu::present(const UtilityFields& fields) {
    layoutItem->setText(fields.mini ? QStringLiteral("Expand") : QStringLiteral("Mini Mode"));
    themeItem->setText(fields.light ? QStringLiteral("Night Theme") : QStringLiteral("Day Theme"));
}

} // namespace tallywick

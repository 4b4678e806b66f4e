#include "views/StatusNotice.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace tallywick {

namespace {

class AccessibleNotice final : public QAccessibleWidget {
  public:
    explicit AccessibleNotice(StatusNotice* notice)
        : QAccessibleWidget(notice, QAccessible::Notification) {}

    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name ? static_cast<StatusNotice*>(widget())->text()
                                         : QAccessibleWidget::text(kind);
    }
};

QAccessibleInterface* makeAccessibleNotice(const QString& /*className*/, QObject* object) {
    auto* notice = qobject_cast<StatusNotice*>(object);
    return notice ? new AccessibleNotice(notice) : nullptr;
}

void announce(QWidget* widget, QAccessible::Event kind) {
    QAccessibleEvent event(widget, kind);
    QAccessible::updateAccessibility(&event);
}

} // namespace

StatusNotice::StatusNotice(QWidget* parent) : SheetText(FontRole::body, Ink::accent, {}, parent) {
    installAccessibility();
    hide();
}

void StatusNotice::present(const QString& newText) {
    if (newText == text())
        return;
    setText(newText); // announces the name
    const bool wasVisible = isVisible();
    setVisible(!newText.isEmpty()); // announces one that appears
    if (!isVisible())
        return;
    // A screen reader reads a notification out when it appears, so one that changes appears anew.
    if (wasVisible)
        announce(this, QAccessible::ObjectShow);
    announce(this, QAccessible::Alert);
}

void StatusNotice::installAccessibility() { QAccessible::installFactory(makeAccessibleNotice); }

} // namespace tallywick

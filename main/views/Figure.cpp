#include "views/Figure.h"

#include "views/TextPainting.h"

#include <QAccessible>
#include <QAccessibleWidget>

#include <utility>

namespace tallywick {

namespace {

/// A figure as a screen reader meets it: static text that can be read letter by letter.
class AccessibleFigure final : public QAccessibleWidget, public QAccessibleTextInterface {
  public:
    explicit AccessibleFigure(Figure* figure)
        : QAccessibleWidget(figure, QAccessible::StaticText) {}

    void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::TextInterface)
            return static_cast<QAccessibleTextInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Value ? value() : QAccessibleWidget::text(kind);
    }

    // The text interface: a text without a cursor in which nothing can be selected.

    QString text(int begin, int end) const override {
        const int first = qBound(0, begin, characterCount());
        const int last = end < 0 ? characterCount() : qBound(first, end, characterCount());
        return value().mid(first, last - first);
    }
    int characterCount() const override { return static_cast<int>(value().size()); }
    QRect characterRect(int /*offset*/) const override { return rect(); }
    int offsetAtPoint(const QPoint& /*point*/) const override { return -1; }
    QString attributes(int /*offset*/, int* begin, int* end) const override {
        *begin = 0;
        *end = characterCount();
        return {};
    }
    int cursorPosition() const override { return 0; }
    void setCursorPosition(int /*position*/) override {}
    void selection(int /*index*/, int* begin, int* end) const override { *begin = *end = 0; }
    int selectionCount() const override { return 0; }
    void addSelection(int /*begin*/, int /*end*/) override {}
    void removeSelection(int /*index*/) override {}
    void setSelection(int /*index*/, int /*begin*/, int /*end*/) override {}
    void scrollToSubstring(int /*begin*/, int /*end*/) override {}

  private:
    QString value() const { return static_cast<Figure*>(widget())->accessibleValue(); }
};

QAccessibleInterface* makeAccessibleFigure(const QString& /*className*/, QObject* object) {
    auto* figure = qobject_cast<Figure*>(object);
    return figure ? new AccessibleFigure(figure) : nullptr;
}

} // namespace

Figure::Figure(QWidget* parent) : QWidget(parent) {}

void Figure::describe(const QString& name, const QString& newValue, const QString& help) {
    // Setting the name and the description announces a change of them, and only a change.
    if (name != accessibleName())
        setAccessibleName(name);
    if (newValue != value) {
        const QString oldValue = std::exchange(value, newValue);
        QAccessibleTextUpdateEvent textChange(this, 0, oldValue, newValue);
        QAccessible::updateAccessibility(&textChange);
        QAccessibleValueChangeEvent valueChange(this, newValue);
        QAccessible::updateAccessibility(&valueChange);
    }
    const QString description = help.isEmpty() ? newValue : help;
    if (description != accessibleDescription())
        setAccessibleDescription(description);
    const QString tip = plainToolTip(help);
    if (tip != toolTip())
        setToolTip(tip);
}

void Figure::installAccessibility() { QAccessible::installFactory(makeAccessibleFigure); }

} // namespace tallywick

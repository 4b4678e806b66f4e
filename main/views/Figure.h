#pragma once

#include <QString>
#include <QWidget>

namespace tallywick {

/// A part of the window that shows something and does nothing: one element for a screen reader,
/// with a name, a value and perhaps a help text that is its tooltip as well.
///
/// A screen reader is reached by the name, the description and the text interface alone: the text
/// is the value, the description the help text, or the value again where there is none.
class Figure : public QWidget {
    Q_OBJECT

  public:
    explicit Figure(QWidget* parent = nullptr);

    /// Announces a value that has changed.
    void describe(const QString& name, const QString& value, const QString& help = {});

    const QString& accessibleValue() const { return value; }

    /// Makes figures known to the accessibility of Qt. Once, before the first window.
    static void installAccessibility();

  private:
    QString value;
};

} // namespace tallywick

#pragma once

#include <QDBusConnection>
#include <QString>
#include <QVariant>

#include <optional>
#include <string>
#include <vector>

namespace tallywick::testing {

/// An element of a program's window as a screen reader meets it, over the bus for accessibility.
class AccessibleElement {
  public:
    AccessibleElement(QDBusConnection connection, QString owner, QString place);

    std::string name() const;
    std::string description() const;
    std::string role() const;
    /// The text that can be read in it; empty when there is no such thing.
    std::string text() const;
    std::vector<AccessibleElement> children() const;

    bool isFocusable() const { return hasState(11); }
    bool isFocused() const { return hasState(12); }
    bool isChecked() const { return hasState(4); }
    bool isShowing() const { return hasState(25); }

    /// Does what a press with the mouse would. Whether the element could.
    bool press() const;

    /// Whatever is shown in it, in the order in which it is read.
    std::vector<AccessibleElement> shownElements() const;

  private:
    bool hasState(unsigned number) const;
    QVariant call(const char* interface, const char* method, const QVariantList& arguments) const;
    std::string property(const char* name) const;

    QDBusConnection bus;
    QString service;
    QString path;
};

/// The first program that has told the screen readers of itself, once one has. `session` is the
/// session bus on which the service for accessibility runs.
std::optional<AccessibleElement> accessibleProgram(const QDBusConnection& session);

} // namespace tallywick::testing

#pragma once

#include "state/UtilityFields.h"
#include "views/parts/Buttons.h"
#include "views/sheets/SheetParts.h"

#include <QWidget>

#include <initializer_list>
#include <vector>

class QGridLayout;

namespace tallywick {

class PathLine;
class Sheet;

/// A section of the settings sheet: a card under its caption. Each is a class here and stands in
/// the list of sections in `SettingsView`. What it holds is made in the order in which it is read.
class SettingsSection : public QWidget {
    Q_OBJECT

  public:
    /// Shows these values, and touches only what differs.
    virtual void present(const UtilityFields& fields) = 0;

  protected:
    /// A section of the sheet, which adds it to its column.
    SettingsSection(const QString& caption, Sheet& sheet);

    /// What the section holds.
    SheetCard& card() { return *frame; }

    /// Adds a text to the card that tells what the section is about.
    SheetText* addExplanation(const QString& text);
    /// Adds buttons to the card, in two columns of one width, row by row.
    QGridLayout* addButtons(std::initializer_list<UtilityButton*> buttons);

    /// A button that is disabled for a while loses the keyboard to the sheet itself, and gets it
    /// back. The toolkit would carry it to another button.
    void enable(UtilityButton* button, bool enabled);
    /// The sheet itself keeps the keyboard until the button is enabled again.
    void restKeyboardFor(UtilityButton* button);
    /// Shows a button or hides it. The keyboard of one that is hidden goes to `heir` as soon as
    /// that is enabled.
    void offer(UtilityButton* button, bool offered, UtilityButton* heir);

    Sheet& sheet;

  private:
    SheetCard* frame;
    UtilityButton* restsFor = nullptr; ///< the button whose keyboard the sheet keeps
};

/// The connection to Codex: which helper, the sign-in, and what to do about both.
class ConnectionSection final : public SettingsSection {
    Q_OBJECT

  public:
    explicit ConnectionSection(Sheet& sheet);

    void present(const UtilityFields& fields) override;

  private:
    void offerCancel(bool offered);

    PathLine* helperPath;
    std::vector<UtilityButton*> accountButtons; ///< that wait while the account is busy
    UtilityButton* signIn;                      ///< one of them
    UtilityButton* cancelSignIn;                ///< shown during a sign-in
};

/// The updates: looking for one, and what can be done with it.
class UpdateSection final : public SettingsSection {
    Q_OBJECT

  public:
    explicit UpdateSection(Sheet& sheet);

    void present(const UtilityFields& fields) override;

  private:
    UtilityButton* check;
    UtilityButton* download; ///< in the place of `show`: never both
    UtilityButton* cancel;
    UtilityButton* show;
    UtilityButton* open;
    SheetProgress* progress;
    StatusNotice* status;
};

/// This copy of the application: where it is, and how it is installed and removed. Of one that a
/// package manager looks after, that is said instead.
class InstallationSection final : public SettingsSection {
    Q_OBJECT

  public:
    explicit InstallationSection(Sheet& sheet);

    void present(const UtilityFields& fields) override;

  private:
    UtilityButton* install;
    UtilityButton* uninstall;
    std::vector<UtilityButton*> buttons; ///< all of them
    SheetText* uninstallText;
    SheetText* managedText;
};

/// Whether the application starts with the user's session.
class SessionSection final : public SettingsSection {
    Q_OBJECT

  public:
    /// The actions must outlive the section.
    SessionSection(Sheet& sheet, const UtilityActions& actions);

    void present(const UtilityFields& fields) override;

  private:
    UtilityCheckBox* box;
};

/// Whether the desktop tells of the allowance.
class NoticesSection final : public SettingsSection {
    Q_OBJECT

  public:
    /// The actions must outlive the section.
    NoticesSection(Sheet& sheet, const UtilityActions& actions);

    void present(const UtilityFields& fields) override;

  private:
    UtilityCheckBox* box;
};

/// What is kept on this machine.
class LocalDataSection final : public SettingsSection {
    Q_OBJECT

  public:
    explicit LocalDataSection(Sheet& sheet);

    void present(const UtilityFields& fields) override;

  private:
    SheetText* count;
};

} // namespace tallywick

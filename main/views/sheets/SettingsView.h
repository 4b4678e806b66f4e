#pragma once

#include "state/UtilityFields.h"
#include "views/sheets/Sheet.h"

#include <QString>

#include <vector>

namespace tallywick {

/// What the sheets tell of the running application itself.
struct ApplicationTexts {
    QString appVersion; ///< "0.6.0", or "Unknown"
    QString installationLabel;

    bool operator==(const ApplicationTexts&) const = default;
};

class PathLine;
class SheetCard;
class StatusNotice;

/// The settings sheet: what runs here, the connection to Codex, and what is kept on this machine.
class SettingsView final : public Sheet {
    Q_OBJECT

  public:
    SettingsView(const Theme& theme, UtilityActions actions, QWidget* window);

    /// Shows these values, and touches only what differs.
    void present(const UtilityFields& fields, const ApplicationTexts& texts);

  private:
    void addHeader();
    void addConnection();
    void addLocalData();
    void addFooter();
    /// A card under its caption.
    SheetCard& addSection(const QString& caption);

    void offerCancel(bool offered);
    void enableAccountButtons(bool enabled);
    /// The sheet itself keeps the keyboard until the button is enabled again.
    void restKeyboardFor(UtilityButton* button);

    const UtilityActions actions;
    SheetText* version = nullptr;
    SheetText* installation = nullptr;
    StatusNotice* status = nullptr;
    PathLine* helperPath = nullptr;
    std::vector<UtilityButton*> accountButtons; ///< that wait while the account is busy
    UtilityButton* signIn = nullptr;            ///< one of them
    UtilityButton* cancelSignIn = nullptr;      ///< shown during a sign-in
    UtilityButton* restsFor = nullptr;          ///< the button whose keyboard the sheet keeps
    SheetText* historyCount = nullptr;
};

} // namespace tallywick

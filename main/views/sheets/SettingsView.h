#pragma once

#include "views/sheets/SettingsSections.h"
#include "views/sheets/Sheet.h"

#include <QString>

#include <vector>

namespace tallywick {

/// What the sheets tell of the running application itself.
struct ApplicationTexts {
    QString appVersion; ///< "0.6.0", or "Unknown"
    QString installationLabel;
};

/// The settings sheet: what runs here, the result of the last action, and the sections.
class SettingsView final : public Sheet {
    Q_OBJECT

  public:
    SettingsView(const Theme& theme, const UtilityActions& actions, QWidget* window);

    /// Shows these values, and touches only what differs.
    void present(const UtilityFields& fields, const ApplicationTexts& texts);

  private:
    void addHeader();
    void addFooter();

    SheetText* version = nullptr;
    SheetText* installation = nullptr;
    StatusNotice* status = nullptr;
    std::vector<SettingsSection*> sections; ///< in their order on the sheet
};

} // namespace tallywick

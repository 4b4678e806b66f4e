#pragma once

#include "state/UtilityFields.h"
#include "views/sheets/Sheet.h"

namespace tallywick {

class StatusNotice;

/// The sheet of the first run, for a copy that is not the installed one.
class InstallationView final : public Sheet {
    Q_OBJECT

  public:
    InstallationView(const Theme& theme, const UtilityActions& actions, QWidget* window);

    /// Shows these values, and touches only what differs.
    void present(const UtilityFields& fields);

  private:
    UtilityCheckBox* shortcut;
    StatusNotice* status;
    UtilityButton* install;
};

} // namespace tallywick

#pragma once

#include "state/UtilityFields.h"
#include "views/look/Theme.h"
#include "views/parts/UtilityActions.h"
#include "views/sheets/SettingsView.h"

#include <QPointer>
#include <QWidget>

namespace tallywick {

class InstallationView;

/// The sheets over a window, which is dimmed as long as there is one. They are there while the
/// state says so: one is made when its field has risen and the window is there, and goes when the
/// field falls. The user's wish to close one is an action like any other. Main thread only.
class SheetHost {
  public:
    /// The window must outlive the host, or take its sheets with it; the actions outlive both.
    SheetHost(QWidget* window, const UtilityActions& actions);
    ~SheetHost();
    SheetHost(const SheetHost&) = delete;
    SheetHost& operator=(const SheetHost&) = delete;

    void present(const UtilityFields& fields, const Theme& theme, const ApplicationTexts& texts);

    /// Closes every sheet at once, whatever the fields say. One opens again only when its field has
    /// fallen and risen anew.
    void endAll();

  private:
    template <typename SheetType>
    struct Place {
        bool wanted = false; ///< what the field said last
        bool ended = false;  ///< by `endAll`, while it was wanted
        QPointer<SheetType> sheet;
    };

    /// Makes, updates or closes one sheet. `shown` is what its `present` takes.
    template <typename SheetType, typename... Shown>
    void follow(Place<SheetType>& place, bool wanted, const Theme& theme, const Shown&... shown);

    void shadeWindow();

    QWidget* const window;
    const UtilityActions& actions;
    QPointer<QWidget> shade;
    Place<SettingsView> settings;
    Place<InstallationView> installer;
};

} // namespace tallywick

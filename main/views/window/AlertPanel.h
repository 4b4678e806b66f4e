#pragma once

#include "platform/desktop/Alerts.h"
#include "views/look/Theme.h"

#include <QPointer>
#include <QWidget>

#include <functional>

namespace tallywick {

/// The questions of the program, each a modal dialog in the look of the sheets, over the sheet that
/// is open or else over the window. Return presses its first button, Escape and the end of the
/// program its second. Main thread only.
class AlertPanel final : public Alerts {
  public:
    /// The window to stay over, and the theme that it wears; none at first.
    void setWindow(QWidget* shown, std::function<Theme()> worn);

    AlertAnswer ask(const Alert& alert) override;

  private:
    QPointer<QWidget> window;
    std::function<Theme()> theme = [] { return makeTheme(false, {}); };
};

} // namespace tallywick

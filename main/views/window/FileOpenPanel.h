#pragma once

#include "platform/desktop/Workspace.h"

#include <QPointer>
#include <QWidget>

namespace tallywick {

/// The dialog for choosing a file, over the sheet that is open or else over the window. Main thread
/// only.
///
/// It is the toolkit's own dialog: those of the desktops take no folder where a file is asked for,
/// which would leave out application bundles, and show no message.
class FileOpenPanel final : public OpenPanel {
  public:
    /// The window to stay over; none at first.
    void setParent(QWidget* window) { parent = window; }

    std::optional<std::filesystem::path> chooseFile(const std::string& title,
                                                    const std::string& message) override;

  private:
    QPointer<QWidget> parent;
};

} // namespace tallywick

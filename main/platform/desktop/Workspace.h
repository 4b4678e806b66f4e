#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace tallywick {

/// What the user's desktop does for an application. Main thread only.
class Workspace {
  public:
    virtual ~Workspace() = default;

    /// Opens an address in the default browser. False when that is not possible.
    [[nodiscard]] virtual bool openAddress(const std::string& address) = 0;

    /// Shows a folder in the file browser. False when that is not possible.
    [[nodiscard]] virtual bool openFolder(const std::filesystem::path& folder) = 0;

    /// Shows a file or folder, selected among its neighbours, in the file browser; where that
    /// cannot select, the folder around it.
    virtual void revealItem(const std::filesystem::path& item) = 0;

    /// Starts the application of a bundle, which outlives this program. False when that is not
    /// possible.
    [[nodiscard]] virtual bool openApplication(const std::filesystem::path& bundle) = 0;

    /// Replaces the content of the clipboard by a text.
    virtual void copyText(const std::string& text) = 0;
};

/// The user's desktop session. Without a graphical application, or without a desktop, nothing
/// can be opened and a text is not copied.
std::unique_ptr<Workspace> desktopWorkspace();

/// The desktop's dialog for choosing a file. Main thread only.
class OpenPanel {
  public:
    virtual ~OpenPanel() = default;

    /// Lets the user choose one existing file, where an application bundle counts as a file. A link
    /// is handed over as it is: where it lies tells as much as what it leads to. Absent when the
    /// user cancels. Blocks in an event loop: whatever the caller had checked may have changed on
    /// return.
    virtual std::optional<std::filesystem::path> chooseFile(const std::string& title,
                                                            const std::string& message) = 0;
};

/// Whether the desktop shows the menus of applications itself, outside their windows. Main thread
/// only; asks the session bus, which answers at once.
bool desktopShowsMenus();

} // namespace tallywick

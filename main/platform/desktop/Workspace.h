#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

    /// How a new instance came out: absent when it has shown its window, else a sentence that tells
    /// why it could not be opened.
    using OpenOutcome = std::optional<std::string>;

    /// Starts another instance of the application of a bundle, which outlives this program, and
    /// tells how that came out: it has shown its window, it has ended before, or it was silent for
    /// 20 seconds; when the word of a silent one comes later after all, that is told too, as a
    /// second outcome. From the event loop; not any more once the workspace is gone.
    virtual void openNewInstance(const std::filesystem::path& bundle,
                                 const std::vector<std::string>& arguments,
                                 std::function<void(OpenOutcome)> opened) = 0;

    /// Replaces the content of the clipboard by a text.
    virtual void copyText(const std::string& text) = 0;
};

/// The user's desktop session. Without a graphical application, or without a desktop, nothing
/// can be opened and a text is not copied. `launchLimit` is how long a new instance may be silent.
std::unique_ptr<Workspace>
desktopWorkspace(std::chrono::milliseconds launchLimit = std::chrono::seconds(20));

/// Takes note of who has started this program by `openNewInstance`, if somebody has, so that no
/// process that this program starts inherits it. Before the program has another thread.
void rememberLauncher();

/// Tells that one, once, that this program has shown its window. Main thread only.
void tellThatWindowIsShown();

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

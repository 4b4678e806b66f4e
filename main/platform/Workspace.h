#pragma once

#include <filesystem>
#include <memory>
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

    /// Replaces the content of the clipboard by a text.
    virtual void copyText(const std::string& text) = 0;
};

/// The user's desktop session. Without a graphical application, or without a desktop, nothing
/// can be opened and a text is not copied.
std::unique_ptr<Workspace> desktopWorkspace();

} // namespace tallywick

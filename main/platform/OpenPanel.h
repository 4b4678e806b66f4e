#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tallywick {

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

} // namespace tallywick

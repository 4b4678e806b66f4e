#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>

namespace tallywick {

/// The user's Trash: what is moved there can be restored by the user. Any thread; waits for the
/// disk.
class Trash {
  public:
    virtual ~Trash() = default;

    /// Moves a file, a folder with all that it holds, or a link itself, dangling or not. Where it
    /// lies now, or a sentence that tells why it was left where it was: never does anything lie in
    /// the Trash that cannot be restored.
    [[nodiscard]] virtual tl::expected<std::filesystem::path, std::string>
    move(const std::filesystem::path& item) = 0;
};

/// The Trash of the desktop: the one in the user's data folder or, for what lies on another file
/// system, the one at the top of that.
std::unique_ptr<Trash> desktopTrash();

} // namespace tallywick

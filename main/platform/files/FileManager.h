#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>

namespace tallywick {

/// The steps by which whole items of the disk are put in their place. Each either happens or says
/// in a sentence why not. Any thread; waits for the disk.
class FileManager {
  public:
    using Result = tl::expected<void, std::string>;

    virtual ~FileManager() = default;

    /// Whether anything has this name, a dangling link included.
    virtual bool exists(const std::filesystem::path& item) const = 0;

    /// Whether the user may put something into the folder. False when there is none.
    virtual bool isWritable(const std::filesystem::path& folder) const = 0;

    /// Creates the folder and the missing ones above it. One that is there already is fine.
    [[nodiscard]] virtual Result createFolders(const std::filesystem::path& folder) = 0;

    /// Copies a folder with all that it holds to a new name, onto the disk itself: after a success
    /// a loss of power leaves it whole. Links are copied as links; anything that is neither file,
    /// folder nor link is a failure. What a failure leaves behind is the caller's to remove.
    [[nodiscard]] virtual Result copy(const std::filesystem::path& from,
                                      const std::filesystem::path& to) = 0;

    /// Gives an item another name on the same file system, onto the disk itself. Fails when
    /// something has that name already.
    [[nodiscard]] virtual Result move(const std::filesystem::path& from,
                                      const std::filesystem::path& to) = 0;

    /// Removes an item with all that it holds; links are not followed. None is no failure.
    [[nodiscard]] virtual Result remove(const std::filesystem::path& item) = 0;
};

std::unique_ptr<FileManager> systemFileManager();

} // namespace tallywick

#pragma once

#include "platform/FileAccess.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

namespace tallywick {

/// A file that was not there before, filled piece by piece. It is removed again unless it is kept.
/// One thread at a time; every operation may wait for the disk.
class NewFile {
  public:
    /// Creates the file for its owner alone. Absent when something of that name is there already, a
    /// dangling link included, when a symbolic link stands anywhere on the way to it, or when it
    /// cannot be created.
    static std::optional<NewFile> create(const std::filesystem::path& path);

    NewFile(NewFile&& other) noexcept;
    NewFile& operator=(NewFile&& other) noexcept;
    ~NewFile(); ///< removes the file, unless it was kept

    /// Appends all of the bytes, or fails with an unknown part of them written.
    WriteResult append(std::string_view bytes);

    /// Closes the file, which stays from now on.
    void keep();

  private:
    struct State;
    explicit NewFile(std::unique_ptr<State> state);
    std::unique_ptr<State> state;
};

} // namespace tallywick

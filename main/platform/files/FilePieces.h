#pragma once

#include "platform/files/FileAccess.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace tallywick {

/// How the reading of a file ended.
enum class PiecewiseReading {
    whole,      ///< at the end of the file
    refused,    ///< at a piece that was not taken
    unreadable, ///< before the first piece: there is no such file, or it may not be read
    brokenOff   ///< at an error of the disk
};

/// Reads a regular file from its beginning to its end, in pieces of at most `pieceSize` bytes, for
/// as long as `take` answers true. Unreadable is also what is no regular file, and what is reached
/// through a symbolic link anywhere on its path. Never blocks on a FIFO or a device.
PiecewiseReading readInPieces(const std::filesystem::path& path, std::size_t pieceSize,
                              const std::function<bool(std::string_view)>& take);

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

    /// As `keep`, once the file and its name stand on the disk; where that fails it does not stay.
    /// An executable one may be run by its owner, if the file system knows such files.
    WriteResult keepOnDisk(bool isExecutable = false);

  private:
    struct State;
    explicit NewFile(std::unique_ptr<State> state);
    std::unique_ptr<State> state;
};

} // namespace tallywick

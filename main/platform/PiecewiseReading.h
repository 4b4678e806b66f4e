#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
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

} // namespace tallywick

#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// The content of a regular file of at most `maximumBytes`. Absent when the file is larger, is
/// missing or unreadable, is no regular file, or is reached through a symbolic link anywhere on its
/// path. Never blocks on a FIFO or a device.
std::optional<std::string> readRegularFile(const std::filesystem::path& path,
                                           std::size_t maximumBytes);

/// The first bytes of a regular file of any size, `maximumBytes` of them or, of a shorter file,
/// all. Absent in the same cases as above, but for the size; never blocks either.
std::optional<std::string> readFileStart(const std::filesystem::path& path,
                                         std::size_t maximumBytes);

/// Whether the bytes now stand in the file, on the disk.
enum class [[nodiscard]] WriteResult{written, failed};

/// Replaces the file by one that holds `bytes`, created for its owner alone. A reader, a crash
/// or a loss of power sees either the old file or the whole new one. When anything fails, a full
/// disk included, the old one stays as it was; the one exception is a folder that cannot be synced
/// after the new file is in place: which of the two a loss of power would leave is then unknown.
/// Missing parent folders are created. Nothing is written through a symbolic link.
///
/// The new file is built under the name of the target followed by ".new", which the next write
/// takes over if this one is killed; of two programs that write at the same time one fails.
/// Anything but a regular file of one name in that place makes the write fail.
WriteResult writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

} // namespace tallywick

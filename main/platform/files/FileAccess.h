#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
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

// The program's own files. Such a file and the folder that holds it belong to the user who runs the
// program; where they belong to somebody else, they are neither read nor written. Folders above
// that one may be anybody's.

/// As `readRegularFile`, for a file of our own.
std::optional<std::string> readOwnFile(const std::filesystem::path& path, std::size_t maximumBytes);

/// Why a file of our own is neither read nor written, whatever the disk says.
enum class StorageObstacle {
    noPlace,      ///< it has no path
    symbolicLink, ///< there is one on its path, or what cannot be examined
    anotherOwner, ///< it, or the folder that holds it, belongs to somebody else
};
std::optional<StorageObstacle> storageObstacle(const std::filesystem::path& path);

/// Whether the bytes now stand in the file, on the disk.
enum class [[nodiscard]] WriteResult{written, failed};

/// Replaces a file of our own by one that holds `bytes`, created for its owner alone. A reader, a
/// crash or a loss of power sees either the old file or the whole new one. When anything fails, a
/// full disk included, the old one stays as it was; the one exception is a folder that cannot be
/// synced after the new file is in place: which of the two a loss of power would leave is then
/// unknown. Missing parent folders are created for their owner alone, whatever the process's mask.
/// Nothing is written through a symbolic link, and nothing but a regular file is replaced.
///
/// The new file is built under the name of the target followed by ".new", which the next write
/// takes over if this one is killed; of two programs that write at the same time one fails.
/// Anything but a regular file of one name in that place makes the write fail.
WriteResult writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

/// Removes a file of our own, with what an interrupted write has left beside it, and then the
/// folder that held it if nothing else is in there. What is not ours stays. Whether nothing has the
/// name of the file any more.
bool removeOwnFile(const std::filesystem::path& path);

/// What tells one content of a file that is only ever replaced from another.
struct FileVersion {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    std::int64_t size = 0;
    std::int64_t modified = 0; ///< nanoseconds since 1970
    bool operator==(const FileVersion&) const = default;
};

/// Absent when there is no such file. A link is not followed.
std::optional<FileVersion> fileVersion(const std::filesystem::path& path);

/// A lock that one holder at a time has, in all programs of this machine: a file of our own that
/// is there for nothing else and stays empty. It is given back with this object, and when the
/// program ends, however it ends.
class FileLock {
  public:
    /// Takes the lock, and creates its file and missing folders as `writeFileAtomically` does.
    /// Never waits: null when another holds the lock, or when it cannot be had.
    static std::unique_ptr<FileLock> tryToTake(const std::filesystem::path& path);

    /// Takes a lock that is the folder itself, so that no file is left there, and that users share:
    /// whoever can see the folder can take it. Never waits: null when another holds it, when there
    /// is no such folder, or when it is reached through a symbolic link. On a file system that
    /// cannot lock folders everybody gets it.
    static std::unique_ptr<FileLock> tryToTakeFolder(const std::filesystem::path& path);

    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    virtual ~FileLock() = default;

  protected:
    FileLock() = default;
};

/// When a folder of this user was last changed or given another name, in nanoseconds since 1970.
/// Absent when there is none, when it is a link, or when it belongs to somebody else.
std::optional<std::int64_t> changeOfOwnFolder(const std::filesystem::path& folder);

/// Whether the path names, directly or through links, a regular file that this user may execute.
bool isExecutableFile(const std::filesystem::path& path);

/// Gives a file another name on the same file system. Fails when something has that name already,
/// a dangling link included; neither is changed then.
WriteResult moveWithoutReplacing(const std::filesystem::path& from,
                                 const std::filesystem::path& to);

/// Marks a file or a folder as downloaded, in an extended attribute: "com.apple.quarantine", on
/// Linux in the namespace of the user. Links are followed. A file system that knows no such
/// attributes leaves it unmarked, which is no failure.
WriteResult markAsDownloaded(const std::filesystem::path& path, std::string_view mark);

} // namespace tallywick

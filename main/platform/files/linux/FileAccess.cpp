#include "platform/files/FileAccess.h"

#include "base/CanonicalPath.h"
#include "platform/linux/Descriptors.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t readPiece = 65'536;

/// Opens a regular file for reading and tells what it is; nothing else is opened.
UniqueFd openRegularFile(const fs::path& path, struct stat& status) {
    return regularFile(openWithoutLinks(standardisedPath(path), O_RDONLY | O_NONBLOCK | O_NOCTTY),
                       status);
}

UniqueFd openFolder(const fs::path& path) { return openWithoutLinks(path, O_RDONLY | O_DIRECTORY); }

bool sync(const UniqueFd& file) {
    return uninterrupted([&] { return ::fsync(file.get()); }) == 0;
}

/// A file system that knows no sync of folders says EINVAL; there is nothing more to ask of it.
bool syncFolder(const UniqueFd& folder) { return sync(folder) || errno == EINVAL; }

bool isOurs(const struct stat& status) { return status.st_uid == ::geteuid(); }

constexpr mode_t ownerOnlyFile = 0600;
constexpr mode_t ownerOnlyFolder = 0700;

/// Makes a folder in another one that is open, and opens it. One that has come meanwhile is taken
/// as it is, unless it is a link.
UniqueFd makeFolder(const UniqueFd& parent, const std::string& name) {
    if (::mkdirat(parent.get(), name.c_str(), ownerOnlyFolder) == 0) {
        // The process's mask may have taken away more than it should.
        if (::fchmodat(parent.get(), name.c_str(), ownerOnlyFolder, AT_SYMLINK_NOFOLLOW) != 0
            || !syncFolder(parent))
            return {};
    } else if (errno != EEXIST) {
        return {};
    }
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    return UniqueFd(uninterrupted([&] { return ::openat(parent.get(), name.c_str(), flags); }));
}

/// Opens the folder, and creates it and those above it that are missing.
UniqueFd openOrMakeFolder(const fs::path& path) {
    UniqueFd folder = openFolder(path);
    if (folder || errno != ENOENT || !path.has_relative_path())
        return folder;
    const UniqueFd parent = openOrMakeFolder(path.parent_path());
    return parent ? makeFolder(parent, path.filename()) : UniqueFd();
}

/// The folder of a file of our own, unless it is somebody else's.
UniqueFd ownFolder(UniqueFd folder) {
    struct stat status {};
    const bool ours = folder && ::fstat(folder.get(), &status) == 0 && isOurs(status);
    return ours ? std::move(folder) : UniqueFd();
}

/// Opens a regular file of our own, of one name, for writing; creates it if need be.
UniqueFd openToWrite(const UniqueFd& folder, const std::string& name) {
    constexpr int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    UniqueFd file(
        uninterrupted([&] { return ::openat(folder.get(), name.c_str(), flags, ownerOnlyFile); }));
    struct stat status {};
    const bool usable = file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode)
                        && status.st_nlink == 1 && isOurs(status)
                        && ::fchmod(file.get(), ownerOnlyFile) == 0; // it may have others
    return usable ? std::move(file) : UniqueFd();
}

bool lock(const UniqueFd& file) {
    return uninterrupted([&] { return ::flock(file.get(), LOCK_EX | LOCK_NB); }) == 0;
}

/// Opens or takes over the temporary file, which is this writer's alone until it is closed.
UniqueFd openTemporary(const UniqueFd& folder, const std::string& name) {
    UniqueFd file = openToWrite(folder, name);
    if (!file || !lock(file))
        return {};
    // Between opening and locking, another writer may have moved this very file into its place,
    // where it must not be touched any more.
    struct stat opened {};
    struct stat named {};
    const bool ours = ::fstat(file.get(), &opened) == 0
                      && ::fstatat(folder.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0
                      && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
    return ours ? std::move(file) : UniqueFd();
}

/// Whether the place is free or taken by a file that may be replaced.
bool canBeReplaced(const UniqueFd& folder, const std::string& name) {
    struct stat status {};
    if (::fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    return S_ISREG(status.st_mode) && isOurs(status);
}

/// Whether nothing has the name any more; only a file of our own is taken away.
bool removeFrom(const UniqueFd& folder, const std::string& name) {
    struct stat status {};
    if (::fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    return S_ISREG(status.st_mode) && isOurs(status)
           && ::unlinkat(folder.get(), name.c_str(), 0) == 0;
}

bool fill(const UniqueFd& file, std::string_view bytes) {
    return uninterrupted([&] { return ::ftruncate(file.get(), 0); }) == 0 && writeWhole(file, bytes)
           && sync(file);
}

/// Reads on to the end of the file, but no more than `limit` bytes.
std::optional<std::string> readAtMost(const UniqueFd& file, std::size_t limit) {
    std::string bytes;
    while (bytes.size() < limit) {
        const std::size_t filled = bytes.size();
        const std::size_t piece = std::min(readPiece, limit - filled);
        bytes.resize(filled + piece);
        const auto count =
            uninterrupted([&] { return ::read(file.get(), bytes.data() + filled, piece); });
        if (count < 0)
            return std::nullopt;
        bytes.resize(filled + static_cast<std::size_t>(count));
        if (count == 0)
            break;
    }
    return bytes;
}

/// The content of a file that may be none, unless it is larger.
std::optional<std::string> readWhole(const UniqueFd& file, const struct stat& status,
                                     std::size_t maximumBytes) {
    if (!file || static_cast<std::uintmax_t>(status.st_size) > maximumBytes)
        return std::nullopt;
    // The file may grow while it is read: one byte beyond the limit gives it away.
    auto bytes = readAtMost(file, maximumBytes + 1);
    if (bytes && bytes->size() > maximumBytes)
        return std::nullopt;
    return bytes;
}

/// A lock on an open file lasts as long as the file is open.
class HeldLock final : public FileLock {
  public:
    explicit HeldLock(UniqueFd lockedFile) : file(std::move(lockedFile)) {}

  private:
    UniqueFd file;
};

} // namespace

std::optional<std::string> readRegularFile(const fs::path& path, std::size_t maximumBytes) {
    struct stat status {};
    const UniqueFd file = openRegularFile(path, status);
    return readWhole(file, status, maximumBytes);
}

std::optional<std::string> readFileStart(const fs::path& path, std::size_t maximumBytes) {
    struct stat status {};
    const UniqueFd file = openRegularFile(path, status);
    if (!file)
        return std::nullopt;
    return readAtMost(file, maximumBytes);
}

std::optional<std::string> readOwnFile(const fs::path& path, std::size_t maximumBytes) {
    const fs::path target = standardisedPath(path);
    const UniqueFd folder = ownFolder(openFolder(target.parent_path()));
    if (!folder)
        return std::nullopt;
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    struct stat status {};
    const UniqueFd file =
        regularFile(UniqueFd(uninterrupted(
                        [&] { return ::openat(folder.get(), target.filename().c_str(), flags); })),
                    status);
    return isOurs(status) ? readWhole(file, status, maximumBytes) : std::nullopt;
}

std::optional<StorageObstacle> storageObstacle(const fs::path& path) {
    if (path.empty())
        return StorageObstacle::noPlace;
    const fs::path target = standardisedPath(path);
    if (!isCanonicalPath(target))
        return StorageObstacle::symbolicLink;
    const auto isAnothers = [](const fs::path& place) {
        struct stat status {};
        return ::lstat(place.c_str(), &status) == 0 && !isOurs(status);
    };
    const bool isForeign = isAnothers(target) || isAnothers(target.parent_path());
    return isForeign ? std::optional(StorageObstacle::anotherOwner) : std::nullopt;
}

WriteResult writeFileAtomically(const fs::path& path, std::string_view bytes) {
    const fs::path target = standardisedPath(path);
    const UniqueFd folder = ownFolder(openOrMakeFolder(target.parent_path()));
    const std::string name = target.filename();
    if (!folder || !canBeReplaced(folder, name))
        return WriteResult::failed;
    const std::string temporary = name + ".new";
    const UniqueFd file = openTemporary(folder, temporary);
    if (!file)
        return WriteResult::failed;
    if (!fill(file, bytes)
        || ::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0) {
        // Should this fail too, the next write takes the file over.
        ::unlinkat(folder.get(), temporary.c_str(), 0);
        return WriteResult::failed;
    }
    return syncFolder(folder) ? WriteResult::written : WriteResult::failed;
}

bool removeOwnFile(const fs::path& path) {
    const fs::path target = standardisedPath(path);
    const UniqueFd folder = ownFolder(openFolder(target.parent_path()));
    if (!folder) {
        struct stat status {};
        return path.empty() || ::lstat(target.c_str(), &status) != 0;
    }
    const std::string name = target.filename();
    const bool isGone = removeFrom(folder, name) && removeFrom(folder, name + ".new");
    const fs::path holder = target.parent_path();
    const UniqueFd above = openFolder(holder.parent_path());
    if (isGone && above && ::unlinkat(above.get(), holder.filename().c_str(), AT_REMOVEDIR) == 0)
        return syncFolder(above);
    return isGone && syncFolder(folder);
}

std::optional<FileVersion> fileVersion(const fs::path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return std::nullopt;
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    return FileVersion{status.st_dev, status.st_ino, status.st_size,
                       status.st_mtim.tv_sec * nanoseconds + status.st_mtim.tv_nsec};
}

std::unique_ptr<FileLock> FileLock::tryToTake(const fs::path& path) {
    const fs::path target = standardisedPath(path);
    const UniqueFd folder = ownFolder(openOrMakeFolder(target.parent_path()));
    UniqueFd file = folder ? openToWrite(folder, target.filename()) : UniqueFd();
    if (!file || !lock(file))
        return nullptr;
    return std::make_unique<HeldLock>(std::move(file));
}

bool isExecutableFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

WriteResult moveWithoutReplacing(const fs::path& from, const fs::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return WriteResult::written;
    // Some file systems do not know the flag; there the look and the move are two steps.
    struct stat status {};
    const bool isMoved = (errno == EINVAL || errno == ENOSYS) && ::lstat(to.c_str(), &status) != 0
                         && errno == ENOENT && ::rename(from.c_str(), to.c_str()) == 0;
    return isMoved ? WriteResult::written : WriteResult::failed;
}

WriteResult markAsDownloaded(const fs::path& path, std::string_view mark) {
    constexpr const char* attribute = "user.com.apple.quarantine";
    constexpr int createOrReplace = 0;
    const bool isMarked =
        ::setxattr(path.c_str(), attribute, mark.data(), mark.size(), createOrReplace) == 0
        || errno == ENOTSUP;
    return isMarked ? WriteResult::written : WriteResult::failed;
}

} // namespace tallywick

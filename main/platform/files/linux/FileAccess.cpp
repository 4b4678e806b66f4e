#include "platform/files/FileAccess.h"

#include "base/CanonicalPath.h"
#include "platform/files/linux/Folders.h"
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

constexpr mode_t ownerOnlyFile = 0600;

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
           && syncFile(file);
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

std::int64_t nanoseconds(const timespec& time) {
    constexpr std::int64_t perSecond = 1'000'000'000;
    return time.tv_sec * perSecond + time.tv_nsec;
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
    const UniqueFd folder =
        ownFolder(openOrMakeFolder(target.parent_path(), FolderAccess::ownerOnly));
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
    return FileVersion{status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim)};
}

std::optional<std::int64_t> changeOfOwnFolder(const fs::path& folder) {
    struct stat status {};
    const bool isOwn =
        ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && isOurs(status);
    return isOwn ? std::optional(nanoseconds(status.st_ctim)) : std::nullopt;
}

std::unique_ptr<FileLock> FileLock::tryToTake(const fs::path& path) {
    const fs::path target = standardisedPath(path);
    const UniqueFd folder =
        ownFolder(openOrMakeFolder(target.parent_path(), FolderAccess::ownerOnly));
    UniqueFd file = folder ? openToWrite(folder, target.filename()) : UniqueFd();
    if (!file || !lock(file))
        return nullptr;
    return std::make_unique<HeldLock>(std::move(file));
}

std::unique_ptr<FileLock> FileLock::tryToTakeFolder(const fs::path& path) {
    UniqueFd folder = openFolder(standardisedPath(path));
    if (!folder || (!lock(folder) && errno == EWOULDBLOCK))
        return nullptr;
    return std::make_unique<HeldLock>(std::move(folder));
}

bool isExecutableFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

WriteResult moveWithoutReplacing(const fs::path& from, const fs::path& to) {
    const bool isMoved = moveWithoutReplacing(AT_FDCWD, from, AT_FDCWD, to);
    return isMoved ? WriteResult::written : WriteResult::failed;
}

WriteResult markAsDownloaded(const fs::path& path, std::string_view mark) {
    constexpr int createOrReplace = 0;
    const bool isMarked =
        ::setxattr(path.c_str(), downloadMark, mark.data(), mark.size(), createOrReplace) == 0
        || errno == ENOTSUP;
    return isMarked ? WriteResult::written : WriteResult::failed;
}

} // namespace tallywick

#include "platform/FileAccess.h"

#include "base/CanonicalPath.h"
#include "platform/linux/Uninterrupted.h"
#include "platform/linux/UniqueFd.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
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

/// Opens what exists at the path, unless a symbolic link stands anywhere on it.
UniqueFd openWithoutLinks(const fs::path& path, int flags) {
    open_how how{};
    how.flags = static_cast<__u64>(flags | O_CLOEXEC);
    how.resolve = RESOLVE_NO_SYMLINKS;
    const auto opened = uninterrupted(
        [&] { return ::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how); });
    if (opened >= 0)
        return UniqueFd(static_cast<int>(opened));
    // Kernels before 5.6 do not know the call, and some containers forbid what they do not know.
    const bool unavailable = errno == ENOSYS || errno == EPERM;
    if (!unavailable || !isCanonicalPath(path))
        return {};
    return UniqueFd(
        uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW); }));
}

/// Opens a regular file for reading and tells what it is; nothing else is opened.
UniqueFd openRegularFile(const fs::path& path, struct stat& status) {
    UniqueFd file = openWithoutLinks(standardisedPath(path), O_RDONLY | O_NONBLOCK | O_NOCTTY);
    const bool isRegular = file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
    return isRegular ? std::move(file) : UniqueFd();
}

UniqueFd openFolder(const fs::path& path) { return openWithoutLinks(path, O_RDONLY | O_DIRECTORY); }

bool sync(const UniqueFd& file) {
    return uninterrupted([&] { return ::fsync(file.get()); }) == 0;
}

/// A file system that knows no sync of folders says EINVAL; there is nothing more to ask of it.
bool syncFolder(const UniqueFd& folder) { return sync(folder) || errno == EINVAL; }

/// Creates the folder and those above it that are missing, each of them kept on the disk.
bool createFolders(const fs::path& path) {
    std::error_code error;
    if (fs::is_directory(path, error))
        return true;
    const fs::path parent = path.parent_path();
    if (!createFolders(parent))
        return false;
    constexpr mode_t asTheUserWants = 0777; // less the process's mask
    if (::mkdir(path.c_str(), asTheUserWants) != 0 && errno != EEXIST)
        return false;
    const UniqueFd folder = openFolder(parent);
    return folder && syncFolder(folder);
}

/// Opens or takes over the temporary file, which is this writer's alone until it is closed.
UniqueFd openTemporary(const UniqueFd& folder, const std::string& name) {
    constexpr int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    constexpr mode_t ownerOnly = 0600;
    UniqueFd file(
        uninterrupted([&] { return ::openat(folder.get(), name.c_str(), flags, ownerOnly); }));
    if (!file || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        return {};
    // Between opening and locking, another writer may have moved this very file into its place,
    // where it must not be touched any more.
    struct stat opened {};
    struct stat named {};
    const bool ours = ::fstat(file.get(), &opened) == 0
                      && ::fstatat(folder.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0
                      && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino
                      && S_ISREG(opened.st_mode) && opened.st_nlink == 1
                      && ::fchmod(file.get(), ownerOnly) == 0; // one left behind may have others
    return ours ? std::move(file) : UniqueFd();
}

bool fill(const UniqueFd& file, std::string_view bytes) {
    if (uninterrupted([&] { return ::ftruncate(file.get(), 0); }) != 0)
        return false;
    while (!bytes.empty()) {
        const auto count =
            uninterrupted([&] { return ::write(file.get(), bytes.data(), bytes.size()); });
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return sync(file);
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

} // namespace

std::optional<std::string> readRegularFile(const fs::path& path, std::size_t maximumBytes) {
    struct stat status {};
    const UniqueFd file = openRegularFile(path, status);
    if (!file || static_cast<std::uintmax_t>(status.st_size) > maximumBytes)
        return std::nullopt;
    // The file may grow while it is read: one byte beyond the limit gives it away.
    auto bytes = readAtMost(file, maximumBytes + 1);
    if (bytes && bytes->size() > maximumBytes)
        return std::nullopt;
    return bytes;
}

std::optional<std::string> readFileStart(const fs::path& path, std::size_t maximumBytes) {
    struct stat status {};
    const UniqueFd file = openRegularFile(path, status);
    if (!file)
        return std::nullopt;
    return readAtMost(file, maximumBytes);
}

WriteResult writeFileAtomically(const fs::path& path, std::string_view bytes) {
    const fs::path target = standardisedPath(path);
    const fs::path parent = target.parent_path();
    if (!isCanonicalPath(target) || !createFolders(parent))
        return WriteResult::failed;
    const UniqueFd folder = openFolder(parent);
    if (!folder)
        return WriteResult::failed;
    const std::string name = target.filename();
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

} // namespace tallywick

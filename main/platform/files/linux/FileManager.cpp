#include "platform/files/FileManager.h"

#include "base/CanonicalPath.h"
#include "platform/files/linux/Folders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

/// Folders in folders; ours are four deep. Two descriptors are open for each.
constexpr int maximumDepth = 32;
constexpr std::size_t copyPiece = 262'144;
/// Of a download mark; that of a desktop takes some sixty bytes.
constexpr std::size_t maximumMark = 1024;
/// What the owner, the group and all others may do, without the bits that lend rights to whoever
/// runs a program.
constexpr mode_t plainMode = 0777;

FileManager::Result outcome(bool succeeded, const std::string& whatFailed) {
    if (succeeded)
        return {};
    return tl::unexpected(whatFailed + ": " + reasonForFailure() + ".");
}

/// Only what tells the system that a file was downloaded; others have no use for an application.
bool copyMark(const UniqueFd& from, const UniqueFd& to) {
    std::array<char, maximumMark> mark{};
    const auto size = ::fgetxattr(from.get(), downloadMark, mark.data(), mark.size());
    if (size < 0)
        return errno == ENODATA || errno == ENOTSUP;
    return ::fsetxattr(to.get(), downloadMark, mark.data(), static_cast<std::size_t>(size), 0) == 0
           || errno == ENOTSUP;
}

bool copyBytes(const UniqueFd& from, const UniqueFd& to) {
    std::string piece(copyPiece, '\0');
    for (;;) {
        const auto count =
            uninterrupted([&] { return ::read(from.get(), piece.data(), piece.size()); });
        if (count <= 0)
            return count == 0;
        if (!writeWhole(to, std::string_view(piece).substr(0, static_cast<std::size_t>(count))))
            return false;
    }
}

bool copyFile(const UniqueFd& fromFolder, const UniqueFd& toFolder, const char* name) {
    constexpr int reading = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    constexpr int making = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    constexpr mode_t ownerOnly = 0600;
    struct stat status {};
    const UniqueFd from = regularFile(
        UniqueFd(uninterrupted([&] { return ::openat(fromFolder.get(), name, reading); })), status);
    if (!from)
        return false;
    const UniqueFd to(
        uninterrupted([&] { return ::openat(toFolder.get(), name, making, ownerOnly); }));
    return to && copyBytes(from, to) && copyMark(from, to)
           && ::fchmod(to.get(), status.st_mode & plainMode) == 0 && syncFile(to);
}

bool copyLink(const UniqueFd& fromFolder, const UniqueFd& toFolder, const char* name) {
    std::string target(PATH_MAX, '\0');
    const auto length = ::readlinkat(fromFolder.get(), name, target.data(), target.size());
    if (length < 0)
        return false;
    target.resize(static_cast<std::size_t>(length));
    return ::symlinkat(target.c_str(), toFolder.get(), name) == 0;
}

/// A folder in another one that was not there before, for its owner alone.
UniqueFd makeNewFolder(const UniqueFd& parent, const std::string& name) {
    constexpr mode_t ownerOnly = 0700;
    if (::mkdirat(parent.get(), name.c_str(), ownerOnly) != 0)
        return {};
    return openFolder(parent, name);
}

bool copyEntry(const UniqueFd& from, const UniqueFd& to, const std::string& name, int depth);

bool copyFolder(const UniqueFd& from, const UniqueFd& to, int depth) {
    struct stat status {};
    if (!from || !to || ::fstat(from.get(), &status) != 0)
        return false;
    if (depth > maximumDepth) {
        errno = ENAMETOOLONG;
        return false;
    }
    const auto copy = [&](const std::string& name) { return copyEntry(from, to, name, depth); };
    return visitEntries(from, copy) && copyMark(from, to)
           && ::fchmod(to.get(), status.st_mode & plainMode) == 0 && syncFolder(to);
}

bool copyEntry(const UniqueFd& from, const UniqueFd& to, const std::string& name, int depth) {
    struct stat status {};
    if (::fstatat(from.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    if (S_ISREG(status.st_mode))
        return copyFile(from, to, name.c_str());
    if (S_ISLNK(status.st_mode))
        return copyLink(from, to, name.c_str());
    if (S_ISDIR(status.st_mode))
        return copyFolder(openFolder(from, name), makeNewFolder(to, name), depth + 1);
    errno = EINVAL;
    return false;
}

/// A folder that its owner may not change is made one that he may: what is removed is ours.
bool removeEntry(const UniqueFd& parent, const std::string& name, int depth) {
    if (::unlinkat(parent.get(), name.c_str(), 0) == 0 || errno == ENOENT)
        return true;
    if (errno != EISDIR || depth > maximumDepth + 1)
        return false;
    // No link: it was found to be a folder. What cannot be changed shows when it is opened.
    [[maybe_unused]] const int changed = ::fchmodat(parent.get(), name.c_str(), S_IRWXU, 0);
    const UniqueFd folder = openFolder(parent, name);
    const auto remove = [&](const std::string& entry) {
        return removeEntry(folder, entry, depth + 1);
    };
    return folder && visitEntries(folder, remove)
           && ::unlinkat(parent.get(), name.c_str(), AT_REMOVEDIR) == 0;
}

class SystemFileManager final : public FileManager {
  public:
    bool exists(const fs::path& item) const override {
        struct stat status {};
        return ::lstat(item.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
    }

    bool isWritable(const fs::path& folder) const override {
        std::error_code error;
        return fs::is_directory(folder, error)
               && ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
    }

    Result createFolders(const fs::path& folder) override {
        return outcome(
            static_cast<bool>(openOrMakeFolder(standardisedPath(folder), FolderAccess::byMask)),
            "The folder " + folder.string() + " could not be created");
    }

    Result copy(const fs::path& from, const fs::path& to) override {
        const UniqueFd source = openFolder(standardisedPath(from));
        const UniqueFd parent =
            source ? openFolder(standardisedPath(to).parent_path()) : UniqueFd();
        const bool isCopied = parent && copyFolder(source, makeNewFolder(parent, to.filename()), 0)
                              && syncFolder(parent);
        return outcome(isCopied, from.string() + " could not be copied");
    }

    Result move(const fs::path& from, const fs::path& to) override {
        const UniqueFd source = openFolder(standardisedPath(from).parent_path());
        const UniqueFd parent = openFolder(standardisedPath(to).parent_path());
        const bool isMoved =
            source && parent
            && moveWithoutReplacing(source.get(), from.filename(), parent.get(), to.filename());
        if (isMoved) { // whatever the disk says now, it has its new name
            syncFolder(parent);
            syncFolder(source);
        }
        return outcome(isMoved, from.string() + " could not be moved");
    }

    Result remove(const fs::path& item) override {
        const UniqueFd parent = openFolder(standardisedPath(item).parent_path());
        const bool isGone = parent ? removeEntry(parent, item.filename(), 0) : errno == ENOENT;
        return outcome(isGone, item.string() + " could not be removed");
    }
};

} // namespace

std::unique_ptr<FileManager> systemFileManager() { return std::make_unique<SystemFileManager>(); }

} // namespace tallywick

#include "platform/files/linux/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

constexpr mode_t ownerOnlyFolder = 0700;
constexpr mode_t openToAll = 0777; // less the process's mask

} // namespace

UniqueFd openFolder(const fs::path& path) { return openWithoutLinks(path, O_RDONLY | O_DIRECTORY); }

UniqueFd openFolder(const UniqueFd& parent, const std::string& name) {
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    return UniqueFd(uninterrupted([&] { return ::openat(parent.get(), name.c_str(), flags); }));
}

UniqueFd makeFolder(const UniqueFd& parent, const std::string& name, FolderAccess access) {
    const bool ownerOnly = access == FolderAccess::ownerOnly;
    if (::mkdirat(parent.get(), name.c_str(), ownerOnly ? ownerOnlyFolder : openToAll) == 0) {
        // The process's mask may have taken away more than it should.
        if (ownerOnly
            && ::fchmodat(parent.get(), name.c_str(), ownerOnlyFolder, AT_SYMLINK_NOFOLLOW) != 0)
            return {};
        if (!syncFolder(parent))
            return {};
    } else if (errno != EEXIST) {
        return {};
    }
    return openFolder(parent, name);
}

UniqueFd openOrMakeFolder(const fs::path& path, FolderAccess access) {
    UniqueFd folder = openFolder(path);
    if (folder || errno != ENOENT || !path.has_relative_path())
        return folder;
    const UniqueFd parent = openOrMakeFolder(path.parent_path(), access);
    return parent ? makeFolder(parent, path.filename(), access) : UniqueFd();
}

bool syncFile(const UniqueFd& file) {
    return uninterrupted([&] { return ::fsync(file.get()); }) == 0;
}

bool syncFolder(const UniqueFd& folder) { return syncFile(folder) || errno == EINVAL; }

bool isOurs(const struct stat& status) { return status.st_uid == ::geteuid(); }

bool visitEntries(const UniqueFd& folder, const std::function<bool(const std::string&)>& visit) {
    UniqueFd again = openFolder(folder, "."); // with a position of its own
    if (!again)
        return false;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(again.get()), &::closedir);
    if (!entries)
        return false;
    again.release();
    for (;;) {
        errno = 0;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody else has this stream
        const dirent* const entry = ::readdir(entries.get());
        if (!entry)
            return errno == 0;
        const std::string name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != ".." && !visit(name))
            return false;
    }
}

bool moveWithoutReplacing(int fromFolder, const fs::path& from, int toFolder, const fs::path& to) {
    if (::renameat2(fromFolder, from.c_str(), toFolder, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // Some file systems do not know the flag; there the look and the move are two steps.
    struct stat status {};
    if (::fstatat(toFolder, to.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        errno = EEXIST;
    return errno == ENOENT && ::renameat(fromFolder, from.c_str(), toFolder, to.c_str()) == 0;
}

std::string reasonForFailure() {
    return errno == ELOOP ? "a symbolic link stands on the way to it"
                          : std::generic_category().message(errno);
}

} // namespace tallywick

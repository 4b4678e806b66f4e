#include "platform/FileMove.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <cerrno>

namespace tallywick {

WriteResult moveWithoutReplacing(const std::filesystem::path& from,
                                 const std::filesystem::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return WriteResult::written;
    // Some file systems do not know the flag; there the look and the move are two steps.
    struct stat status {};
    const bool isMoved = (errno == EINVAL || errno == ENOSYS) && ::lstat(to.c_str(), &status) != 0
                         && errno == ENOENT && ::rename(from.c_str(), to.c_str()) == 0;
    return isMoved ? WriteResult::written : WriteResult::failed;
}

} // namespace tallywick

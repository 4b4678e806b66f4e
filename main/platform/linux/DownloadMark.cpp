#include "platform/DownloadMark.h"

#include <sys/xattr.h>

#include <cerrno>

namespace tallywick {

WriteResult markAsDownloaded(const std::filesystem::path& path, std::string_view mark) {
    constexpr const char* attribute = "user.com.apple.quarantine";
    constexpr int createOrReplace = 0;
    const bool isMarked =
        ::setxattr(path.c_str(), attribute, mark.data(), mark.size(), createOrReplace) == 0
        || errno == ENOTSUP;
    return isMarked ? WriteResult::written : WriteResult::failed;
}

} // namespace tallywick

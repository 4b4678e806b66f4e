#include "base/CanonicalPath.h"

#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

fs::path standardisedPath(const fs::path& path) {
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    fs::path normal = (error ? path : absolute).lexically_normal();
    if (!normal.has_filename() && normal != normal.root_path())
        normal = normal.parent_path(); // "a/b/" names the same place as "a/b"
    return normal;
}

bool isCanonicalPath(const fs::path& path) {
    const fs::path standardised = standardisedPath(path);
    if (!standardised.is_absolute())
        return false;
    fs::path reached;
    for (const fs::path& part : standardised) {
        reached /= part;
        std::error_code error;
        const fs::file_status status = fs::symlink_status(reached, error);
        if (status.type() == fs::file_type::not_found)
            return true;
        if (error || status.type() == fs::file_type::symlink)
            return false;
    }
    return true;
}

} // namespace tallywick

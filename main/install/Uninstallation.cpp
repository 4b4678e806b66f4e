#include "install/Uninstallation.h"

#include "base/CanonicalPath.h"
#include "base/Product.h"
#include "install/AppInstallation.h"
#include "platform/files/StandardFolders.h"

#include <system_error>
#include <utility>

namespace tallywick::Uninstallation {

namespace fs = std::filesystem;

tl::expected<void, std::string> moveToTrash(const std::vector<fs::path>& items, Trash& trash) {
    for (const fs::path& item : items)
        if (auto moved = trash.move(item); !moved)
            return tl::unexpected(std::move(moved.error()));
    return {};
}

std::vector<fs::path> utilityDataFolders() {
    std::vector<fs::path> folders;
    if (const auto data = applicationSupportFolder())
        folders.push_back(*data / Product::dataFolderName);
    if (const auto caches = cachesFolder())
        folders.push_back(*caches / Product::bundleIdentifier);
    return folders;
}

tl::expected<void, std::string> removeUtilityData(const std::vector<fs::path>& folders,
                                                  Trash& trash) {
    for (const fs::path& folder : folders) {
        if (!isCanonicalPath(folder))
            return tl::unexpected(std::string(message(InstallationFailure::unsafeData)));
        std::error_code error;
        if (!fs::exists(fs::symlink_status(folder, error)))
            continue;
        if (auto moved = moveToTrash({folder}, trash); !moved)
            return moved;
    }
    return {};
}

} // namespace tallywick::Uninstallation

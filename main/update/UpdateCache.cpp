#include "update/UpdateCache.h"

#include "base/CanonicalPath.h"
#include "base/Product.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

constexpr Timestamp staleAfter = 14.0 * 24 * 60 * 60;
constexpr double nanoseconds = 1e9; // in a second

tl::unexpected<UpdateFailure> disk() { return tl::unexpected(UpdateFailure::disk); }

} // namespace

UpdateCache::UpdateCache(fs::path folder, RunningCopies copies)
    : cacheFolder(std::move(folder)), runningCopies(std::move(copies)) {}

tl::expected<UpdateCache, UpdateFailure> UpdateCache::open(const fs::path& caches,
                                                           RunningCopies runningCopies) {
    const fs::path folder = standardisedPath(caches / Product::bundleIdentifier / "Update");
    if (!isCanonicalPath(folder))
        return disk();
    std::error_code error;
    fs::create_directories(folder, error);
    if (!error)
        fs::permissions(folder, fs::perms::owner_all, error);
    if (error)
        return disk();
    return UpdateCache(folder, std::move(runningCopies));
}

fs::path UpdateCache::preparedApp() const {
    return unpackFolder() / Product::applicationFolderName;
}

tl::expected<std::unique_ptr<FileLock>, UpdateFailure> UpdateCache::claim() const {
    fs::path place = cacheFolder; // beside the folder, which holds the items alone
    auto lock = FileLock::tryToTake(place += ".lock");
    if (!lock)
        return disk();
    return lock;
}

tl::expected<void, UpdateFailure> UpdateCache::clear() const {
    if (!isCanonicalPath(cacheFolder) || isPreparedAppRunning())
        return disk();
    for (const fs::path& item : items()) {
        std::error_code error;
        fs::remove_all(item, error);
        if (error)
            return disk();
    }
    return {};
}

void UpdateCache::purgeStaleItems(Timestamp now) const {
    std::vector<fs::path> stale = items();
    std::erase_if(stale, [&](const fs::path& item) {
        const auto version = fileVersion(item);
        return !version || now - static_cast<double>(version->modified) / nanoseconds <= staleAfter;
    });
    // Most often there is nothing to look for.
    if (stale.empty() || !isCanonicalPath(cacheFolder) || isPreparedAppRunning())
        return;
    for (const fs::path& item : stale) {
        std::error_code ignored;
        fs::remove_all(item, ignored);
    }
}

bool UpdateCache::isPreparedAppRunning() const {
    const std::string prefix = unpackFolder().string() + '/';
    return std::ranges::any_of(runningCopies(), [&](const RunningApplication& copy) {
        return copy.bundle.string().starts_with(prefix);
    });
}

std::vector<RunningApplication> UpdateCache::systemRunningCopies() {
    return runningApplications({Product::bundleIdentifier});
}

std::vector<fs::path> UpdateCache::items() const {
    return {archive(), partialArchive(), unpackFolder()};
}

} // namespace tallywick

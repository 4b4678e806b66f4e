#pragma once

#include "base/Time.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/files/FileAccess.h"
#include "update/UpdateFailure.h"

#include <tl/expected.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace tallywick {

/// The folder among the user's caches in which a release is downloaded and prepared. It holds the
/// three items below and nothing else. Every operation waits for the disk. Any thread, but one
/// operation at a time; between copies of the program, whoever has claimed the cache works in it.
class UpdateCache {
  public:
    /// The copies of this application that run now.
    using RunningCopies = std::function<std::vector<RunningApplication>()>;

    /// The cache below the folder of the user's caches; it is created where it is missing. `disk`
    /// when that fails or a symbolic link stands on the way.
    static tl::expected<UpdateCache, UpdateFailure>
    open(const std::filesystem::path& caches, RunningCopies runningCopies = systemRunningCopies);

    const std::filesystem::path& folder() const { return cacheFolder; }
    std::filesystem::path partialArchive() const { return cacheFolder / "partial.zip"; }
    std::filesystem::path archive() const { return cacheFolder / "candidate.zip"; }
    std::filesystem::path unpackFolder() const { return cacheFolder / "candidate"; }
    std::filesystem::path preparedApp() const;

    /// The right to work in the cache, which one copy of the program has at a time, until it lets
    /// go of it or ends. `disk` when another has it.
    tl::expected<std::unique_ptr<FileLock>, UpdateFailure> claim() const;

    /// Removes the items. `disk` when the prepared application runs, when the folder has become
    /// reachable through a symbolic link, or when one of them cannot be removed.
    tl::expected<void, UpdateFailure> clear() const;

    /// Removes the items that were last changed more than 14 days before `now`, as far as that is
    /// possible, unless the prepared application runs.
    void purgeStaleItems(Timestamp now) const;

    /// Whether a copy of this application runs from the unpack folder.
    bool isPreparedAppRunning() const;

    static std::vector<RunningApplication> systemRunningCopies();

  private:
    UpdateCache(std::filesystem::path folder, RunningCopies copies);

    std::vector<std::filesystem::path> items() const;

    std::filesystem::path cacheFolder;
    RunningCopies runningCopies;
};

} // namespace tallywick

#include "update/ReleaseUnpacker.h"

#include "platform/process/ChildProcess.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

using Failure = tl::unexpected<UpdateFailure>;
using namespace std::chrono_literals;

constexpr auto slice = 100ms;  // after which a cancellation is seen
constexpr auto killGrace = 2s; // from the polite request to SIGKILL
constexpr auto stopLimit = 4s; // for both
constexpr std::size_t maximumText = 64;

/// The child, and what its own thread tells of it.
class RunningTool {
  public:
    explicit RunningTool(const ChildCommand& command)
        : child(ChildProcess::launch(command,
                                     {.output = [shared = told](auto text) { shared->add(text); },
                                      .inputBroken = {},
                                      .terminated = [shared = told] { shared->end(); }})) {}

    /// Whether the child has ended when the time has passed, or before.
    bool hasEndedWithin(std::chrono::milliseconds limit) { return told->wait(limit); }

    void stop() {
        child->terminate();
        told->wait(stopLimit);
    }

    bool hasSucceeded() { return told->text() == ArchiveExtraction::doneText; }

  private:
    class Told {
      public:
        void add(std::string_view piece) {
            MutexLock lock(mutex);
            output += piece.substr(0, maximumText - std::min(maximumText, output.size()));
        }
        void end() {
            MutexLock lock(mutex);
            ended = true;
            changed.notifyAll();
        }
        bool wait(std::chrono::milliseconds limit) {
            const auto deadline = std::chrono::steady_clock::now() + limit;
            MutexLock lock(mutex);
            while (!ended && changed.waitUntil(mutex, deadline)) {
            }
            return ended;
        }
        std::string text() {
            MutexLock lock(mutex);
            return output;
        }

      private:
        Mutex mutex;
        Condition changed;
        std::string output GUARDED_BY(mutex);
        bool ended GUARDED_BY(mutex) = false;
    };

    std::shared_ptr<Told> told = std::make_shared<Told>();
    std::unique_ptr<ChildProcess> child;
};

tl::expected<void, UpdateFailure> runTool(const UnpackTool& tool, const ChildCommand& command,
                                          const CancellationFlag& flag) {
    RunningTool running(command);
    bool hasEnded = false;
    for (int i = 0; i < tool.waits && !hasEnded; ++i) {
        hasEnded = running.hasEndedWithin(slice);
        if (!hasEnded && flag.isCancelled())
            break;
    }
    if (!hasEnded)
        running.stop();
    if (flag.isCancelled())
        return Failure(UpdateFailure::cancelled);
    if (!hasEnded || !running.hasSucceeded())
        return Failure(UpdateFailure::unsafeArchive);
    return {};
}

/// Every path that must lie in the folder, with the size of each file; folders have none.
std::map<fs::path, std::optional<std::uint64_t>>
expectedItems(const std::vector<SafeUpdateArchive::Entry>& entries) {
    std::map<fs::path, std::optional<std::uint64_t>> items;
    for (const auto& entry : entries) {
        const fs::path name = entry.name;
        const fs::path path = entry.isFolder() ? name.parent_path() : name;
        items.emplace(path, entry.isFolder() ? std::nullopt : std::optional(entry.size));
        for (fs::path above = path.parent_path(); !above.empty(); above = above.parent_path())
            items.emplace(above, std::nullopt);
    }
    return items;
}

/// Whether the item is what was declared: no link, no second name, no special mode.
bool isAsDeclared(const fs::directory_entry& item, std::optional<std::uint64_t> size) {
    constexpr fs::perms special = fs::perms::set_uid | fs::perms::set_gid | fs::perms::sticky_bit;
    const fs::file_status status = item.symlink_status();
    if ((status.permissions() & special) != fs::perms::none)
        return false;
    if (!size)
        return status.type() == fs::file_type::directory;
    return status.type() == fs::file_type::regular && item.file_size() == *size
           && item.hard_link_count() == 1;
}

bool holdsExactly(const fs::path& folder, const std::vector<SafeUpdateArchive::Entry>& entries) {
    auto expected = expectedItems(entries);
    try {
        for (const auto& item : fs::recursive_directory_iterator(folder)) {
            const auto found = expected.find(item.path().lexically_relative(folder));
            if (found == expected.end() || !isAsDeclared(item, found->second))
                return false;
            expected.erase(found);
        }
    } catch (const fs::filesystem_error&) {
        return false;
    }
    return expected.empty();
}

} // namespace

tl::expected<void, UpdateFailure> unpackRelease(const UnpackTool& tool,
                                                const CheckedArchive& archive,
                                                const fs::path& folder,
                                                const CancellationFlag& flag) {
    ChildCommand command{.executable = tool.executable,
                         .arguments = tool.arguments,
                         .currentFolder = "/",
                         .killGrace = killGrace};
    for (const std::string& argument : {archive.file.string(), archive.sha256, folder.string()})
        command.arguments.push_back(argument);
    try {
        if (const auto outcome = runTool(tool, command, flag); !outcome)
            return outcome;
    } catch (const std::system_error&) {
        return Failure(UpdateFailure::disk);
    }
    if (!holdsExactly(folder, archive.entries))
        return Failure(UpdateFailure::unsafeArchive);
    return {};
}

} // namespace tallywick

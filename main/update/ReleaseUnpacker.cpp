#include "update/ReleaseUnpacker.h"

#include "platform/process/ChildProcess.h"

#include <chrono>
#include <future>
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

/// The child, whose end its own thread tells.
class RunningTool {
  public:
    explicit RunningTool(const ChildCommand& command) {
        const auto end = std::make_shared<std::promise<void>>();
        ended = end->get_future();
        child = ChildProcess::launch(
            command, {.output = {}, .inputBroken = {}, .terminated = [end] { end->set_value(); }});
    }

    /// Whether the child has ended when the time has passed, or before.
    bool hasEndedWithin(std::chrono::milliseconds limit) const {
        return ended.wait_for(limit) == std::future_status::ready;
    }

    void stop() {
        child->terminate();
        ended.wait_for(stopLimit);
    }

    bool hasSucceeded() const { return child->hasSucceeded(); }

  private:
    std::future<void> ended;
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

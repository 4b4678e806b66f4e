#pragma once

#include "base/TaskRelay.h"
#include "platform/desktop/Workspace.h"
#include "update/ReleaseUnpacker.h"
#include "update/UpdateFeed.h"
#include "update/UpdateFields.h"
#include "update/UpdatePreparation.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// Looks for a newer release, downloads and prepares it, and shows or opens what was prepared: one
/// of these at a time, and each only when the user asks. It installs nothing: the prepared
/// application does that itself.
///
/// Main thread only, with a running event loop. Every operation returns at once. The work is done
/// on threads that `waitForWorkThreads` knows; while nothing runs there are none. What comes of
/// an operation is applied only as long as it is the current one.
class UpdateController {
  public:
    /// The steps that wait for the network or the disk. Any thread.
    struct Steps {
        std::function<decltype(fetchBounded)> fetch = fetchBounded;
        std::function<bool()> canUnpack = ArchiveExtraction::isPossible;
        std::function<decltype(UpdatePreparation::prepare)> prepare = UpdatePreparation::prepare;
        std::function<decltype(UpdatePreparation::recheck)> recheck = UpdatePreparation::recheck;
    };

    /// What it works with.
    struct Services {
        Clock clock; ///< called on any thread
        /// The folder of the user's caches. Without one nothing can be downloaded.
        std::optional<std::filesystem::path> caches;
        RunningCopy copy;
        UnpackTool unpackTool;
        std::shared_ptr<const CodeSignature> signature;
        Workspace& workspace; ///< must outlive the controller
        Steps steps = {};
    };

    /// `onChange` is called after every change of the fields.
    UpdateController(Services services, std::function<void()> onChange);

    /// Stops.
    ~UpdateController();
    UpdateController(const UpdateController&) = delete;
    UpdateController& operator=(const UpdateController&) = delete;

    const UpdateFields& fields() const { return published; }

    /// Removes what an update has left in the cache more than 14 days ago. To be run once at the
    /// start of the program, on any thread, since it waits for the disk. Outlives the controller.
    std::function<void()> purge() const;

    // Each does nothing while another runs, and after `stop`.

    /// Asks the maker's server for the newest release. Forgets what was found or prepared before.
    void check();
    /// Downloads and prepares the release that was found, if there is one.
    void download();
    /// Checks the prepared release again and shows it in the file browser. It is forgotten when it
    /// is no longer what it was.
    void showDownload();
    /// Checks it again and starts it; a file browser here takes an application for a folder. Busy
    /// until it has shown its window or not: a start that is under way cannot be cancelled.
    void openUpdate();

    /// Ends what runs, if anything does. The fields tell so when it has ended.
    void cancel();
    /// Ends what runs, for good. What it brings is not applied any more; a download that has not
    /// come to its end leaves nothing in the cache.
    void stop();

  private:
    bool begin();
    template <typename Handler>
    auto forCurrentOperation(Handler handler);
    template <typename Work, typename Apply>
    void run(Work work, Apply apply);

    std::string assessFeed(const BoundedDownload::Result& body);
    std::function<void(std::int64_t)> progressReport();
    void applyDownload(const tl::expected<UpdatePreparation::Prepared, std::string>& result);
    void recheck(std::function<void()> then);
    void finish(std::string status);
    void publish(std::string status);

    const std::shared_ptr<const Services> services; ///< the threads share it
    const std::function<void()> changed;
    UpdateFields published;

    bool busy = false;
    bool stopped = false;
    bool passedRecheck = false;
    std::optional<UpdateFields::Progress> progress;
    std::optional<UpdateManifest> manifest;
    std::optional<UpdatePreparation::Prepared> prepared; ///< only beside its `manifest`
    /// Of the current operation, or the last one; none has that of another.
    std::shared_ptr<CancellationFlag> flag = std::make_shared<CancellationFlag>();
    TaskRelay relay; ///< last: what the threads still bring is dropped first
};

} // namespace tallywick

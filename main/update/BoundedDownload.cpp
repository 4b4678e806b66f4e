#include "update/BoundedDownload.h"

#include "base/Mutex.h"
#include "update/DownloadConnection.h"
#include "update/UpdateThreads.h"

#include <future>
#include <utility>

namespace tallywick {

/// What a download shares with its thread.
struct BoundedDownload::Control {
    Mutex mutex;
    bool cancelled GUARDED_BY(mutex) = false;
    DownloadConnection* running GUARDED_BY(mutex) = nullptr;

    void cancel() EXCLUDES(mutex) {
        MutexLock lock(mutex);
        cancelled = true;
        endRunning();
    }

    void setRunning(DownloadConnection& connection) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        running = &connection;
        if (cancelled)
            endRunning();
    }

    /// No cancellation reaches the connection any more. Whether one came before.
    bool endOfRun() EXCLUDES(mutex) {
        MutexLock lock(mutex);
        running = nullptr;
        return cancelled;
    }

  private:
    void endRunning() REQUIRES(mutex) {
        if (!running)
            return;
        QMetaObject::invokeMethod(
            running->receiver(),
            [connection = running] {
                connection->finish(tl::unexpected(UpdateFailure::cancelled));
            },
            Qt::QueuedConnection);
    }
};

/// One download, as its thread holds it.
struct BoundedDownload::Work {
    DownloadRequest request;
    Callbacks callbacks;
    std::optional<NewFile> file;
    std::shared_ptr<Control> control;

    void run() {
        Result result = transfer();
        if (file && result)
            file->keep();
        file.reset();
        callbacks.completion(std::move(result));
    }

    Result transfer() {
        DownloadConnection connection(request, file ? &*file : nullptr, callbacks.progress);
        control->setRunning(connection);
        Result result = connection.run();
        if (control->endOfRun() && result)
            return tl::unexpected(UpdateFailure::cancelled);
        return result;
    }
};

tl::expected<std::unique_ptr<BoundedDownload>, UpdateFailure>
BoundedDownload::start(DownloadRequest request, Callbacks callbacks) {
    std::optional<NewFile> file;
    if (request.destination) {
        file = NewFile::create(*request.destination);
        if (!file)
            return tl::unexpected(UpdateFailure::disk);
    }
    auto control = std::make_shared<Control>();
    auto work = std::make_shared<Work>(
        Work{std::move(request), std::move(callbacks), std::move(file), control});
    if (!startUpdateThread("download", [work = std::move(work)] { work->run(); }))
        return tl::unexpected(UpdateFailure::offline);
    return std::unique_ptr<BoundedDownload>(new BoundedDownload(std::move(control)));
}

BoundedDownload::BoundedDownload(std::shared_ptr<Control> shared) : control(std::move(shared)) {}

BoundedDownload::~BoundedDownload() { cancel(); }

void BoundedDownload::cancel() { control->cancel(); }

BoundedDownload::Result fetchBounded(const DownloadRequest& request,
                                     std::function<void(std::int64_t)> progress,
                                     CancellationFlag& flag) {
    const auto ended = std::make_shared<std::promise<BoundedDownload::Result>>();
    auto started =
        BoundedDownload::start(request, {.progress = std::move(progress),
                                         .completion = [ended](BoundedDownload::Result result) {
                                             ended->set_value(std::move(result));
                                         }});
    if (!started)
        return tl::unexpected(started.error());
    const std::shared_ptr<BoundedDownload> running = std::move(*started);
    flag.whenCancelled([download = std::weak_ptr(running)] {
        if (const auto stillRunning = download.lock())
            stillRunning->cancel();
    });
    return ended->get_future().get();
}

} // namespace tallywick

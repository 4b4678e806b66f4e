#include "update/BoundedDownload.h"

#include "base/Mutex.h"
#include "update/DownloadConnection.h"

#include <QDeadlineTimer>
#include <QThread>

#include <algorithm>
#include <utility>
#include <vector>

namespace tallywick {

namespace {

/// The threads of all downloads, each kept until it has ended.
class DownloadThreads {
  public:
    void add(std::unique_ptr<QThread> thread) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        std::erase_if(threads, [](const auto& earlier) { return earlier->isFinished(); });
        threads.push_back(std::move(thread));
    }

    bool wait(QDeadlineTimer deadline) EXCLUDES(mutex) {
        std::vector<std::unique_ptr<QThread>> ending;
        {
            MutexLock lock(mutex);
            ending.swap(threads);
        }
        std::erase_if(ending, [&](const auto& thread) { return thread->wait(deadline); });
        const bool allEnded = ending.empty();
        MutexLock lock(mutex);
        std::ranges::move(ending, std::back_inserter(threads));
        return allEnded;
    }

  private:
    Mutex mutex;
    std::vector<std::unique_ptr<QThread>> threads GUARDED_BY(mutex);
};

/// Never destroyed: a thread that still runs when the program ends must find what it uses.
DownloadThreads& downloadThreads() {
    static auto& threads = *new DownloadThreads;
    return threads;
}

} // namespace

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
    auto work = std::make_unique<Work>(
        Work{std::move(request), std::move(callbacks), std::move(file), control});
    // The thread's object outlives the thread; the work does not.
    std::unique_ptr<QThread> thread(QThread::create(
        [held = std::move(work)]() mutable { std::exchange(held, nullptr)->run(); }));
    thread->setObjectName(QStringLiteral("download"));
    thread->start();
    if (!thread->isRunning() && !thread->isFinished()) // the system has no thread left
        return tl::unexpected(UpdateFailure::offline);
    downloadThreads().add(std::move(thread));
    return std::unique_ptr<BoundedDownload>(new BoundedDownload(std::move(control)));
}

BoundedDownload::BoundedDownload(std::shared_ptr<Control> shared) : control(std::move(shared)) {}

BoundedDownload::~BoundedDownload() { cancel(); }

void BoundedDownload::cancel() { control->cancel(); }

bool waitForDownloads(std::chrono::milliseconds limit) {
    return downloadThreads().wait(QDeadlineTimer(limit));
}

} // namespace tallywick

#include "update/UpdateThreads.h"

#include "base/Mutex.h"

#include <QDeadlineTimer>
#include <QThread>

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace tallywick {

namespace {

/// The threads, each kept until it has ended.
class Threads {
  public:
    void add(std::unique_ptr<QThread> thread) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        std::erase_if(threads, [](const auto& earlier) { return earlier->isFinished(); });
        threads.push_back(std::move(thread));
    }

    /// Those too that were started meanwhile.
    bool wait(QDeadlineTimer deadline) EXCLUDES(mutex) {
        for (;;) {
            std::vector<std::unique_ptr<QThread>> ending = takeAll();
            if (ending.empty())
                return true;
            std::erase_if(ending, [&](const auto& thread) { return thread->wait(deadline); });
            if (!ending.empty()) {
                MutexLock lock(mutex);
                std::ranges::move(ending, std::back_inserter(threads));
                return false;
            }
        }
    }

  private:
    std::vector<std::unique_ptr<QThread>> takeAll() EXCLUDES(mutex) {
        MutexLock lock(mutex);
        return std::exchange(threads, {});
    }

    Mutex mutex;
    std::vector<std::unique_ptr<QThread>> threads GUARDED_BY(mutex);
};

/// Never destroyed: a thread that still runs when the program ends must find what it uses.
Threads& updateThreads() {
    static auto& threads = *new Threads;
    return threads;
}

} // namespace

bool startUpdateThread(const char* name, std::function<void()> work) {
    // The thread's object outlives the thread; the work does not.
    std::unique_ptr<QThread> thread(
        QThread::create([held = std::move(work)]() mutable { std::exchange(held, nullptr)(); }));
    thread->setObjectName(QLatin1String(name));
    thread->start();
    if (!thread->isRunning() && !thread->isFinished())
        return false;
    updateThreads().add(std::move(thread));
    return true;
}

bool waitForUpdateThreads(std::chrono::milliseconds limit) {
    return updateThreads().wait(QDeadlineTimer(limit));
}

} // namespace tallywick

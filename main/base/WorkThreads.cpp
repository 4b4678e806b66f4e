#include "base/WorkThreads.h"

#include "base/Mutex.h"

#include <pthread.h>

#include <list>
#include <system_error>
#include <thread>
#include <utility>

namespace tallywick {

namespace {

/// The threads, each kept until it is joined: its work may have ended while the libraries that it
/// has used still clear up behind it, which the end of the program must not overtake.
class Threads {
  public:
    bool start(const char* name, std::function<void()> work) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        joinEnded();
        Thread& thread = threads.emplace_back();
        try {
            thread.handle = std::thread([this, name, &thread, held = std::move(work)]() mutable {
                ::pthread_setname_np(::pthread_self(), name);
                std::exchange(held, nullptr)();
                MutexLock ending(mutex);
                thread.hasEnded = true;
                ended.notifyAll();
            });
        } catch (const std::system_error&) {
            threads.pop_back();
            return false;
        }
        return true;
    }

    /// Those too that are started meanwhile.
    bool wait(std::chrono::steady_clock::time_point deadline) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        for (joinEnded(); !threads.empty(); joinEnded()) {
            if (!ended.waitUntil(mutex, deadline))
                break;
        }
        joinEnded();
        return threads.empty();
    }

  private:
    struct Thread {
        std::thread handle;
        bool hasEnded = false; ///< nothing of ours runs on it any more
    };

    void joinEnded() REQUIRES(mutex) {
        threads.remove_if([](Thread& thread) {
            if (thread.hasEnded)
                thread.handle.join();
            return thread.hasEnded;
        });
    }

    Mutex mutex;
    Condition ended;
    std::list<Thread> threads GUARDED_BY(mutex);
};

/// Never destroyed: a thread that still runs when the program ends must find what it uses.
Threads& workThreads() {
    static auto& threads = *new Threads;
    return threads;
}

} // namespace

bool startWorkThread(const char* name, std::function<void()> work) {
    return workThreads().start(name, std::move(work));
}

bool waitForWorkThreads(std::chrono::milliseconds limit) {
    return workThreads().wait(std::chrono::steady_clock::now() + limit);
}

} // namespace tallywick

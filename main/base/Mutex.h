#pragma once

#include "base/ThreadAnnotations.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace tallywick {

/// The standard mutex, made visible to clang's thread-safety analysis.
class CAPABILITY("mutex") Mutex {
  public:
    void lock() ACQUIRE() { mutex.lock(); }
    void unlock() RELEASE() { mutex.unlock(); }

  private:
    friend class Condition;
    std::mutex mutex;
};

/// Holds a `Mutex` for the length of a block.
class SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutexToHold) ACQUIRE(mutexToHold) : mutex(mutexToHold) {
        mutex.lock();
    }
    ~MutexLock() RELEASE() { mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    Mutex& mutex;
};

/// A condition variable for `Mutex`. Waits may end early: call them in a loop that tests the
/// condition.
class Condition {
  public:
    void wait(Mutex& mutex) REQUIRES(mutex) NO_THREAD_SAFETY_ANALYSIS {
        std::unique_lock<std::mutex> held(mutex.mutex, std::adopt_lock);
        condition.wait(held);
        held.release(); // the caller goes on holding it
    }

    /// False once `deadline` has passed.
    bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline)
        REQUIRES(mutex) NO_THREAD_SAFETY_ANALYSIS {
        std::unique_lock<std::mutex> held(mutex.mutex, std::adopt_lock);
        const std::cv_status status = condition.wait_until(held, deadline);
        held.release();
        return status == std::cv_status::no_timeout;
    }

    void notifyAll() { condition.notify_all(); }

  private:
    std::condition_variable condition;
};

} // namespace tallywick

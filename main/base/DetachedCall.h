#pragma once

#include "base/Mutex.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace tallywick {

/// A call that may never return, since it asks a disk or a server: it runs on a thread of its own,
/// and nobody has to wait for it. Nothing waits at the end of the program either.
///
/// Any thread. The call must own what it uses.
template <typename Result>
class DetachedCall {
  public:
    using Pointer = std::shared_ptr<DetachedCall>;

    /// Starts `function`. A result that comes too late is handed to `dispose`, on the call's own
    /// thread. Throws std::system_error when there is no thread to be had.
    static Pointer start(
        std::function<Result()> function,
        std::function<void(Result)> dispose = [](const Result&) {}) {
        Pointer call(new DetachedCall);
        std::thread([call, function = std::move(function), dispose = std::move(dispose)] {
            call->run(function, dispose);
        }).detach();
        return call;
    }

    /// The result, once. Throws what the function threw. Absent when the call was abandoned, or
    /// has not returned by the deadline, which abandons it.
    std::optional<Result> take(std::chrono::steady_clock::time_point deadline) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        while (!returned && !abandoned && changed.waitUntil(mutex, deadline)) {
        }
        if (!returned)
            abandoned = true;
        if (failure)
            std::rethrow_exception(std::exchange(failure, nullptr));
        return std::exchange(result, std::nullopt);
    }

    /// Nobody wants the result any more; who waits for it goes on at once. Too late once the
    /// function has returned.
    void abandon() EXCLUDES(mutex) {
        MutexLock lock(mutex);
        abandoned = true;
        changed.notifyAll();
    }

    bool hasReturned() EXCLUDES(mutex) {
        MutexLock lock(mutex);
        return returned;
    }

    /// Waits until the function has returned. False when it has not by the deadline.
    bool waitForReturn(std::chrono::steady_clock::time_point deadline) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        while (!returned && changed.waitUntil(mutex, deadline)) {
        }
        return returned;
    }

  private:
    DetachedCall() = default;

    void run(const std::function<Result()>& function, const std::function<void(Result)>& dispose)
        EXCLUDES(mutex) {
        std::optional<Result> value;
        std::exception_ptr thrown;
        try {
            value = function();
        } catch (...) {
            thrown = std::current_exception();
        }
        if (!keep(value, thrown) && value)
            dispose(std::move(*value));
    }

    /// False when nobody wants it.
    bool keep(std::optional<Result>& value, const std::exception_ptr& thrown) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        returned = true;
        changed.notifyAll();
        if (abandoned)
            return false;
        result.swap(value);
        failure = thrown;
        return true;
    }

    Mutex mutex;
    Condition changed;
    bool returned GUARDED_BY(mutex) = false;
    bool abandoned GUARDED_BY(mutex) = false;
    std::optional<Result> result GUARDED_BY(mutex);
    std::exception_ptr failure GUARDED_BY(mutex);
};

} // namespace tallywick

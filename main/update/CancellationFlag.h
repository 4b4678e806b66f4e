#pragma once

#include "base/Mutex.h"

#include <functional>
#include <utility>

namespace tallywick {

/// Tells work on other threads that the user has cancelled the operation. Each operation has a flag
/// of its own; once cancelled it stays so. Any thread.
class CancellationFlag {
  public:
    void cancel() {
        std::function<void()> wake;
        {
            MutexLock lock(mutex);
            cancelled = true;
            wake.swap(wakeWork);
        }
        if (wake)
            wake();
    }

    bool isCancelled() const {
        MutexLock lock(mutex);
        return cancelled;
    }

    /// Has `wake` called, once, when the flag is cancelled, or now if it is. For work that waits
    /// and cannot look at the flag. Of several the last one counts.
    void whenCancelled(std::function<void()> wake) {
        {
            MutexLock lock(mutex);
            if (!cancelled) {
                wakeWork = std::move(wake);
                return;
            }
        }
        wake();
    }

  private:
    mutable Mutex mutex;
    bool cancelled GUARDED_BY(mutex) = false;
    std::function<void()> wakeWork GUARDED_BY(mutex);
};

} // namespace tallywick

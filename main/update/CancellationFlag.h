#pragma once

#include "base/Mutex.h"

namespace tallywick {

/// Tells work on other threads that the user has cancelled the operation. Each operation has a flag
/// of its own; once cancelled it stays so. Any thread.
class CancellationFlag {
  public:
    void cancel() {
        MutexLock lock(mutex);
        cancelled = true;
    }
    bool isCancelled() const {
        MutexLock lock(mutex);
        return cancelled;
    }

  private:
    mutable Mutex mutex;
    bool cancelled GUARDED_BY(mutex) = false;
};

} // namespace tallywick

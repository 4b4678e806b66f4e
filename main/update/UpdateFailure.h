#pragma once

#include "base/Mutex.h"

#include <functional>
#include <string_view>
#include <utility>

namespace tallywick {

/// Why an update went no further. Whatever else goes wrong is turned into one of these where it
/// happens, so that the user reads one of these sentences and no other.
enum class UpdateFailure {
    invalidFeed,   ///< the feed breaks a rule, or does not fit the running copy
    incompatible,  ///< the release needs another system version or processor
    redirect,      ///< the server answered with a redirect
    server,        ///< the answer was none of HTTP, or not the 200 that was asked for
    offline,       ///< the transfer failed in any other way
    oversized,     ///< more bytes were announced or received than allowed
    corrupt,       ///< the archive's size, digest or kind of file is wrong
    unsafeArchive, ///< the archive's layout was refused, or unpacking it failed
    cancelled,     ///< the user has cancelled
    disk,          ///< the update cache cannot be prepared or written
    invalidBundle  ///< what was unpacked is not the release that the feed told of
};

/// The name of the enumerator.
std::string_view name(UpdateFailure failure);

/// The sentence for the user.
std::string_view message(UpdateFailure failure);

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

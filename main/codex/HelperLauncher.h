#pragma once

#include "base/DetachedCall.h"
#include "base/Mutex.h"
#include "codex/AccountTransport.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <vector>

namespace tallywick {

/// Starts helpers without being held up by one that does not start: its file may lie on a network
/// share that does not answer, and then the start takes as long as that.
///
/// Each start runs on a thread of its own. One that is overdue or not wanted any more is left
/// behind, and its helper closed should it run after all. Until then the same path is not
/// started again, and beside a start that hangs one other may be tried, of another path. Nothing
/// waits for what was left behind, the destructor and the program's end included. Any thread.
class HelperLauncher {
  public:
    using Helper = std::shared_ptr<AccountTransport>;

    /// A start is a matter of milliseconds. This is for a disk that has to wake up.
    static constexpr std::chrono::milliseconds usualLimit{4'000};

    /// A start under way. Whoever waits for the helper waits until `deadline`.
    struct Start {
        std::filesystem::path executable;
        std::chrono::steady_clock::time_point deadline;
        DetachedCall<Helper>::Pointer helper;
    };

    explicit HelperLauncher(TransportFactory factory, std::chrono::milliseconds limit = usualLimit);

    /// Begins. Waits for a start of the same path that was given up a moment ago; throws
    /// `BridgeFailure::timeout` when one that is overdue stands in the way, and std::system_error.
    Start start(const std::filesystem::path& executable, BridgeEventHandler onEvent);

  private:
    /// Whether those starts stand in the way of another.
    static bool areInTheWay(const std::vector<Start>& starts,
                            const std::filesystem::path& executable);
    std::vector<Start> startsUnderWay() EXCLUDES(mutex);

    const TransportFactory factory;
    const std::chrono::milliseconds limit;
    Mutex mutex;
    std::vector<Start> starts GUARDED_BY(mutex); ///< that were under way when last looked at
};

} // namespace tallywick

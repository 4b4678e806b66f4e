#pragma once

#include <chrono>
#include <functional>

namespace tallywick {

/// Runs `work` on a thread of its own, and destroys it there. False when the system has no thread
/// left. Any thread. `name` is a literal of at most 15 characters.
[[nodiscard]] bool startWorkThread(const char* name, std::function<void()> work);

/// Waits until all these threads have ended. False when `limit` passed first. For the end of the
/// program, after their work was cancelled.
bool waitForWorkThreads(std::chrono::milliseconds limit);

} // namespace tallywick

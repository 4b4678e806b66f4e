#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

/// What to start, and how long it may take to end.
struct ChildCommand {
    std::filesystem::path executable;   ///< an absolute path; the search path is not consulted
    std::vector<std::string> arguments; ///< without the program's own name
    std::filesystem::path currentFolder;
    std::chrono::milliseconds killGrace{2000}; ///< from the polite request to SIGKILL
};

/// A running child with three pipes, in a process group of its own.
///
/// The child inherits the environment, default signal handling and no descriptor but its pipes. It
/// does not outlive this program, not even when the program is killed. When the child has ended, so
/// has its process group: what it started and left behind is killed with it.
///
/// Every operation may be called from any thread and returns at once. Signals go through a process
/// descriptor, never to a process id that may have been given to somebody else.
class ChildProcess {
  public:
    /// Called one at a time on a thread that belongs to this child; nothing is read or written in
    /// the background while one runs. Standard error is read and dropped.
    struct Handlers {
        /// At most `readSize` bytes of standard output; an empty piece once, when there is no more.
        std::function<void(std::string_view)> output;
        /// The child no longer reads its input: accepted messages are lost.
        std::function<void()> inputBroken;
        /// The child has ended, for whatever reason. What it had written to standard output before
        /// is delivered first, whether or not somebody else still holds the pipe. Called once,
        /// last.
        std::function<void()> terminated;
    };

    enum class WriteOutcome {
        accepted, ///< written, or kept until the child reads
        full,     ///< nothing was taken: `maximumUnread` would be exceeded
        broken    ///< the child has closed its input or ended, or `closeInput` was called
    };

    static constexpr std::size_t readSize = 65'536;

    /// Starts the child. Throws std::system_error when that fails; no handler is called then.
    static std::unique_ptr<ChildProcess> launch(const ChildCommand& command, Handlers handlers);

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Detaches the handlers and ends the child as `terminate` does, without waiting for either.
    ~ChildProcess();

    /// False from the moment at which the child's end is seen.
    bool isRunning() const;

    /// Whether the child has ended with exit status 0. Known when `terminated` is called.
    bool hasSucceeded() const;

    /// Gives the whole message to the child's standard input without ever blocking: what the pipe
    /// does not take now is written as the child reads. `maximumUnread` bounds what may lie
    /// waiting, this message included.
    WriteOutcome write(std::string_view message, std::size_t maximumUnread);

    /// Closes the child's standard input; what it has not read yet is dropped.
    void closeInput();

    /// No handler begins any more once this returns, but for one that the child's own thread was
    /// about to call at that moment. Output is still read, and dropped.
    void detachHandlers();

    /// Asks the child to end (SIGTERM) and kills it, and its process group, when it still runs
    /// after the grace.
    void terminate();

  private:
    struct Shared;
    explicit ChildProcess(std::shared_ptr<Shared> shared);
    std::shared_ptr<Shared> shared;
};

/// Waits until every child that this program runs has ended; one whose start has not succeeded yet
/// is killed when the program ends. False when `limit` passed first.
/// The last act of the program, so that a helper which was asked to end can finish what it writes.
bool waitForChildProcesses(std::chrono::milliseconds limit);

} // namespace tallywick

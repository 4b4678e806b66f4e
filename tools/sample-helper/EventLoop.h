#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick::sample {

/// The one loop of the program: takes lines from standard input, runs actions when they are due and
/// writes to standard output without ever blocking on it. One thread; one loop in a process, since
/// it handles SIGTERM and SIGINT.
///
/// It ends soon after its input has ended or a signal asks for it. While too much waits to be done
/// or written it takes no further line.
class EventLoop {
  public:
    using Action = std::function<void()>;
    using LineHandler = std::function<void(std::string_view)>;

    /// Longest line taken: what a client may send. A longer one ends the loop.
    static constexpr std::size_t maximumLine = 2'097'152;
    /// Actions that may wait before input pauses.
    static constexpr std::size_t maximumDue = 256;
    /// Bytes that may wait to be written before input and actions pause.
    static constexpr std::size_t maximumUnwritten = 1'048'576;

    /// Throws std::system_error when the system gives no pipe.
    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Runs the action once, after the delay.
    void after(std::chrono::microseconds delay, Action action);

    /// Adds to what is written to standard output.
    void write(std::string_view bytes) { unwritten.append(bytes); }

    /// From now on the end takes as long as that of a helper that waits for a hung service.
    void delayEnd();

    /// Ends the loop at once; what standard output takes without waiting is still written.
    void end(int status);

    /// Runs until the end; returns the exit status.
    int run(const LineHandler& onLine);

  private:
    using SteadyClock = std::chrono::steady_clock;

    void waitForEvents();
    int timeout() const;
    void read();
    void takeLines(const LineHandler& onLine);
    void runDue();
    void flush();
    void beginEnd();
    bool mayAct() const { return unwritten.size() < maximumUnwritten; }
    bool mayTakeLine() const { return mayAct() && due.size() < maximumDue; }

    std::string input;     ///< read, not yet taken
    std::string unwritten; ///< for standard output
    std::multimap<SteadyClock::time_point, Action> due;
    std::chrono::milliseconds endDelay;
    std::optional<SteadyClock::time_point> endsAt;
    int status = 0;
    int signalPipe[2] = {-1, -1};
};

} // namespace tallywick::sample

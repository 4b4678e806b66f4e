#include "platform/process/ChildProcess.h"

#include "base/Mutex.h"
#include "platform/linux/Descriptors.h"
#include "platform/process/linux/ChildLaunch.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" { // the header of glibc 2.36 does not say so itself
#include <sys/pidfd.h>
}

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace tallywick {

namespace {

using SteadyClock = std::chrono::steady_clock;

/// Reads what is there, at most `size` bytes. Absent when nothing is there yet; 0 at the end of the
/// stream, as which a failure counts.
std::optional<std::size_t> readSome(const UniqueFd& fd, char* bytes, std::size_t size) {
    const ssize_t count = uninterrupted([&] { return ::read(fd.get(), bytes, size); });
    if (count < 0)
        return errno == EAGAIN ? std::nullopt : std::optional<std::size_t>(0);
    return static_cast<std::size_t>(count);
}

/// The children whose end has not been seen yet, for the whole program.
struct LiveChildren {
    Mutex mutex;
    Condition changed;
    int count GUARDED_BY(mutex) = 0;

    void add(int difference) {
        MutexLock lock(mutex);
        count += difference;
        changed.notifyAll();
    }
};

/// Never destroyed: a child's thread may end after main has returned.
LiveChildren& liveChildren() {
    static LiveChildren& children = *new LiveChildren;
    return children;
}

} // namespace

/// What the handle and the child's thread share.
struct ChildProcess::Shared {
    explicit Shared(ChildCommand what, Handlers callbacks)
        : command(std::move(what)), wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          handlers(std::make_shared<const Handlers>(std::move(callbacks))) {
        if (!wakeUp)
            throw std::system_error(errno, std::generic_category(), "eventfd");
    }

    // The child's thread. It starts the child itself, because the child dies with the thread that
    // started it, and stays until the child has been waited for.
    int launch();
    void run();
    void waitForEvents(std::optional<SteadyClock::time_point> deadline);
    void readOutput(std::size_t limit);
    void readWaitingOutput();
    void endOutput();
    void dropErrors();
    void writeInBackground();
    std::optional<SteadyClock::time_point> killWhenDue();
    void takeLeave();
    template <typename... Arguments>
    void call(std::function<void(Arguments...)> Handlers::*handler, Arguments... arguments);

    // Any thread.
    bool flush() REQUIRES(mutex);
    void wake() const;

    const ChildCommand command;
    const UniqueFd wakeUp;

    // Set by `launch`, constant afterwards.
    pid_t pid = -1;
    UniqueFd process;

    // The child's thread only.
    UniqueFd output;
    UniqueFd errors;
    std::array<char, readSize> bytes{};
    bool hasEnded = false;

    mutable Mutex mutex;
    std::shared_ptr<const Handlers> handlers GUARDED_BY(mutex);
    UniqueFd input GUARDED_BY(mutex);
    std::string unread GUARDED_BY(mutex); ///< accepted messages, from `flushed` on not yet written
    std::size_t flushed GUARDED_BY(mutex) = 0;
    bool running GUARDED_BY(mutex) = true;
    bool succeeded GUARDED_BY(mutex) = false;
    bool terminating GUARDED_BY(mutex) = false;
    std::optional<SteadyClock::time_point> killAt GUARDED_BY(mutex);
};

/// 0, or the error that kept the child from its command.
int ChildProcess::Shared::launch() try {
    LaunchedChild child = launchChild(command);
    pid = child.pid;
    process = std::move(child.process);
    output = std::move(child.output);
    errors = std::move(child.errors);
    MutexLock lock(mutex);
    input = std::move(child.input);
    return 0;
} catch (const std::system_error& failure) {
    return failure.code().value();
}

void ChildProcess::Shared::run() {
    while (!hasEnded)
        waitForEvents(killWhenDue());
    takeLeave();
}

void ChildProcess::Shared::waitForEvents(std::optional<SteadyClock::time_point> deadline) {
    int writable = -1;
    {
        MutexLock lock(mutex);
        if (!unread.empty())
            writable = input.get();
    }
    // poll skips negative descriptors.
    std::array<pollfd, 5> polled{{{process.get(), POLLIN, 0},
                                  {wakeUp.get(), POLLIN, 0},
                                  {output.get(), POLLIN, 0},
                                  {errors.get(), POLLIN, 0},
                                  {writable, POLLOUT, 0}}};
    int timeout = -1;
    if (deadline) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(*deadline - SteadyClock::now());
        timeout = static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }
    if (::poll(polled.data(), polled.size(), timeout) <= 0)
        return; // the deadline, or a signal
    const auto [processEvent, wakeEvent, outputEvent, errorsEvent, inputEvent] = polled;
    hasEnded = processEvent.revents != 0;
    if (wakeEvent.revents != 0) {
        std::uint64_t ignored = 0;
        readSome(wakeUp, reinterpret_cast<char*>(&ignored), sizeof ignored);
    }
    if (inputEvent.revents != 0)
        writeInBackground();
    if (errorsEvent.revents != 0)
        dropErrors();
    if (outputEvent.revents != 0)
        readOutput(readSize);
}

/// One piece of at most `limit` bytes.
void ChildProcess::Shared::readOutput(std::size_t limit) {
    const auto count = readSome(output, bytes.data(), std::min(limit, bytes.size()));
    if (!count)
        return;
    if (*count == 0)
        endOutput();
    else
        call(&Handlers::output, std::string_view(bytes.data(), *count));
}

/// What the pipe holds at this moment, and no more: others may go on writing into it for ever.
void ChildProcess::Shared::readWaitingOutput() {
    int waiting = 0;
    if (!output || ::ioctl(output.get(), FIONREAD, &waiting) != 0)
        return;
    for (auto left = static_cast<std::size_t>(waiting); output && left > 0;
         left -= std::min(left, readSize))
        readOutput(left);
}

void ChildProcess::Shared::endOutput() {
    if (!output)
        return;
    output.reset();
    call(&Handlers::output, std::string_view());
}

void ChildProcess::Shared::dropErrors() {
    if (readSome(errors, bytes.data(), bytes.size()) == std::optional<std::size_t>(0))
        errors.reset();
}

void ChildProcess::Shared::writeInBackground() {
    {
        MutexLock lock(mutex);
        if (!input || flush())
            return;
    }
    readWaitingOutput(); // written before the child stopped reading
    call(&Handlers::inputBroken);
}

/// Returns when the next look at the clock is due, if ever.
std::optional<SteadyClock::time_point> ChildProcess::Shared::killWhenDue() {
    MutexLock lock(mutex);
    if (killAt && SteadyClock::now() >= *killAt) {
        ::pidfd_send_signal(process.get(), SIGKILL, nullptr, 0);
        killAt.reset();
    }
    return killAt;
}

/// The child has ended and has not been waited for yet, so its process group is still its own.
void ChildProcess::Shared::takeLeave() {
    {
        MutexLock lock(mutex);
        running = false;
        input.reset();
    }
    readWaitingOutput();
    endOutput();
    errors.reset();
    ::kill(-pid, SIGKILL);
    siginfo_t status{};
    uninterrupted(
        [&] { return ::waitid(P_PIDFD, static_cast<id_t>(process.get()), &status, WEXITED); });
    {
        MutexLock lock(mutex);
        succeeded = status.si_code == CLD_EXITED && status.si_status == EXIT_SUCCESS;
    }
    call(&Handlers::terminated);
}

template <typename... Arguments>
void ChildProcess::Shared::call(std::function<void(Arguments...)> Handlers::*handler,
                                Arguments... arguments) {
    std::shared_ptr<const Handlers> current;
    {
        MutexLock lock(mutex);
        current = handlers;
    }
    if (current && (*current).*handler)
        ((*current).*handler)(arguments...);
}

/// Writes what the pipe takes now. False when the child does not read any more.
bool ChildProcess::Shared::flush() {
    while (flushed < unread.size()) {
        const std::string_view rest = std::string_view(unread).substr(flushed);
        const ssize_t count = uninterrupted(
            [fd = input.get(), rest] { return ::write(fd, rest.data(), rest.size()); });
        if (count < 0 && errno == EAGAIN)
            return true;
        if (count < 0) {
            input.reset();
            break;
        }
        flushed += static_cast<std::size_t>(count);
    }
    unread = {};
    flushed = 0;
    return static_cast<bool>(input);
}

void ChildProcess::Shared::wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t count = ::write(wakeUp.get(), &one, sizeof one);
}

std::unique_ptr<ChildProcess> ChildProcess::launch(const ChildCommand& command, Handlers handlers) {
    auto shared = std::make_shared<Shared>(command, std::move(handlers));
    std::promise<int> launched;
    std::future<int> outcome = launched.get_future();
    std::thread([own = shared, told = std::move(launched)]() mutable {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, nullptr); // signals of the program go to other threads
        // A child that does not run yet counts for nothing: its start may take for ever.
        if (const int error = own->launch(); error != 0) {
            own.reset(); // before it is told: it holds descriptors
            told.set_value(error);
            return;
        }
        liveChildren().add(1);
        told.set_value(0);
        own->run();
        own.reset(); // before the child counts as gone
        liveChildren().add(-1);
    }).detach();
    if (const int error = outcome.get(); error != 0)
        throw std::system_error(error, std::generic_category(), "child process");
    return std::unique_ptr<ChildProcess>(new ChildProcess(std::move(shared)));
}

ChildProcess::ChildProcess(std::shared_ptr<Shared> sharedState) : shared(std::move(sharedState)) {}

ChildProcess::~ChildProcess() {
    detachHandlers();
    terminate();
}

bool ChildProcess::isRunning() const {
    MutexLock lock(shared->mutex);
    return shared->running;
}

bool ChildProcess::hasSucceeded() const {
    MutexLock lock(shared->mutex);
    return shared->succeeded;
}

ChildProcess::WriteOutcome ChildProcess::write(std::string_view message,
                                               std::size_t maximumUnread) {
    MutexLock lock(shared->mutex);
    if (!shared->input)
        return WriteOutcome::broken;
    const std::size_t waiting = shared->unread.size() - shared->flushed;
    if (waiting + message.size() > maximumUnread)
        return WriteOutcome::full;
    shared->unread.erase(0, std::exchange(shared->flushed, 0));
    shared->unread += message;
    if (waiting > 0)
        return WriteOutcome::accepted; // the child's thread goes on
    if (!shared->flush())
        return WriteOutcome::broken;
    if (!shared->unread.empty())
        shared->wake();
    return WriteOutcome::accepted;
}

void ChildProcess::closeInput() {
    MutexLock lock(shared->mutex);
    shared->input.reset();
    shared->unread = {};
    shared->flushed = 0;
}

void ChildProcess::detachHandlers() {
    std::shared_ptr<const Handlers> detached; // destroyed after the lock
    MutexLock lock(shared->mutex);
    detached.swap(shared->handlers);
}

void ChildProcess::terminate() {
    MutexLock lock(shared->mutex);
    if (!shared->running || shared->terminating)
        return;
    shared->terminating = true;
    shared->killAt = SteadyClock::now() + shared->command.killGrace;
    ::pidfd_send_signal(shared->process.get(), SIGTERM, nullptr, 0);
    shared->wake();
}

bool waitForChildProcesses(std::chrono::milliseconds limit) {
    LiveChildren& children = liveChildren();
    const auto deadline = SteadyClock::now() + limit;
    MutexLock lock(children.mutex);
    while (children.count > 0)
        if (!children.changed.waitUntil(children.mutex, deadline))
            return children.count == 0;
    return true;
}

} // namespace tallywick

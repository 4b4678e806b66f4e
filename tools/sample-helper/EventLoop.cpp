#include "sample-helper/EventLoop.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <limits>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace tallywick::sample {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds usualEndDelay = 20ms;
constexpr std::chrono::milliseconds hungEndDelay = 30s;

/// The end of the pipe that the signal handler writes to.
volatile std::sig_atomic_t signalDescriptor = -1;

void onSignal(int) {
    const int savedError = errno;
    const char byte = 0;
    // A full pipe already says what there is to say.
    [[maybe_unused]] const ssize_t written = ::write(signalDescriptor, &byte, 1);
    errno = savedError;
}

bool isWritable(int descriptor) {
    pollfd entry{.fd = descriptor, .events = POLLOUT, .revents = 0};
    return ::poll(&entry, 1, 0) == 1 && entry.revents != 0;
}

} // namespace

EventLoop::EventLoop() : endDelay(usualEndDelay) {
    if (::pipe(signalPipe) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    ::fcntl(signalPipe[1], F_SETFL, O_NONBLOCK);
    signalDescriptor = signalPipe[1];
    struct sigaction action {};
    action.sa_handler = onSignal;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    action.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &action, nullptr);
}

EventLoop::~EventLoop() {
    signalDescriptor = -1;
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
}

void EventLoop::after(std::chrono::microseconds delay, Action action) {
    due.emplace(SteadyClock::now() + delay, std::move(action));
}

void EventLoop::delayEnd() { endDelay = hungEndDelay; }

void EventLoop::end(int exitStatus) {
    status = exitStatus;
    endsAt = SteadyClock::now();
}

void EventLoop::beginEnd() {
    if (!endsAt)
        endsAt = SteadyClock::now() + endDelay;
}

int EventLoop::run(const LineHandler& onLine) {
    while (!endsAt || SteadyClock::now() < *endsAt) {
        waitForEvents();
        runDue();
        flush();
        takeLines(onLine);
    }
    return status;
}

/// Waits until there is something to do, and reads what has come in.
void EventLoop::waitForEvents() {
    pollfd entries[] = {
        {.fd = signalPipe[0], .events = POLLIN, .revents = 0},
        {.fd = !endsAt && mayTakeLine() ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0},
        {.fd = unwritten.empty() ? -1 : STDOUT_FILENO, .events = POLLOUT, .revents = 0},
    };
    if (::poll(entries, std::size(entries), timeout()) <= 0)
        return;
    if (entries[0].revents != 0) {
        char bytes[16];
        [[maybe_unused]] const ssize_t drained = ::read(signalPipe[0], bytes, sizeof bytes);
        beginEnd();
    }
    if (entries[1].revents != 0)
        read();
}

/// Milliseconds until the next action or the end, rounded up; -1 for none.
int EventLoop::timeout() const {
    std::optional<SteadyClock::time_point> next = endsAt;
    if (mayAct() && !due.empty() && (!next || due.begin()->first < *next))
        next = due.begin()->first;
    if (!next)
        return -1;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*next - SteadyClock::now());
    return static_cast<int>(
        std::clamp<std::int64_t>(wait.count(), 0, std::numeric_limits<int>::max()));
}

void EventLoop::read() {
    char bytes[65'536];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count > 0)
        input.append(bytes, static_cast<std::size_t>(count));
    else if (count == 0 || errno != EINTR)
        beginEnd();
}

void EventLoop::takeLines(const LineHandler& onLine) {
    while (!endsAt && mayTakeLine()) {
        const std::size_t length = input.find('\n');
        if (std::min(length, input.size()) > maximumLine) {
            std::cerr << "codex: a line of the input is too long\n";
            return end(1);
        }
        if (length == std::string::npos)
            return;
        const std::string line = input.substr(0, length);
        input.erase(0, length + 1);
        onLine(line);
    }
}

void EventLoop::runDue() {
    while (mayAct() && !due.empty() && due.begin()->first <= SteadyClock::now()) {
        const auto first = due.extract(due.begin());
        first.mapped()();
    }
}

/// Writes what standard output takes: a pipe that is ready takes a page without blocking.
void EventLoop::flush() {
    constexpr std::size_t page = 4096;
    std::size_t written = 0;
    while (written < unwritten.size() && isWritable(STDOUT_FILENO)) {
        const ssize_t count = ::write(STDOUT_FILENO, unwritten.data() + written,
                                      std::min(page, unwritten.size() - written));
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return end(1);
        written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    unwritten.erase(0, written);
}

} // namespace tallywick::sample

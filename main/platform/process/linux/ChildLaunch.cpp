#include "platform/process/linux/ChildLaunch.h"

#include "platform/linux/Descriptors.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" { // the header of glibc 2.36 does not say so itself
#include <sys/pidfd.h>
}

#include <array>
#include <cerrno>
#include <mutex>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace tallywick {

namespace {

/// Exit status of a child that could not become its command, as shells use it.
constexpr int cannotExecute = 127;

[[noreturn]] void throwError(int error, const char* what) {
    throw std::system_error(error, std::generic_category(), what);
}

/// A descriptor that stays clear of 0, 1 and 2, which the child's own streams will take.
UniqueFd aboveStandardStreams(UniqueFd fd) {
    if (fd.get() > STDERR_FILENO)
        return fd;
    UniqueFd higher(::fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!higher)
        throwError(errno, "fcntl");
    return higher;
}

void setSignalHandler(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    ::sigaction(signal, &action, nullptr); // fails for the few signals that cannot be changed
}

/// Children stay waitable only while SIGCHLD is not ignored, which a parent can hand down to us.
void prepareSignalsOnce() {
    static std::once_flag once;
    std::call_once(once, [] {
        ignoreBrokenPipes();
        struct sigaction current {};
        if (::sigaction(SIGCHLD, nullptr, &current) == 0 && current.sa_handler == SIG_IGN)
            setSignalHandler(SIGCHLD, SIG_DFL);
    });
}

/// The text of each, as execve(2) takes them, which writes nothing there.
std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

/// The child's part between fork and exec. Only async-signal-safe calls: other threads of the
/// parent may have held any lock at the moment of the fork.
class ChildSide {
  public:
    ChildSide(const ChildCommand& command, std::array<int, 3> itsStreams, const Pipe& status)
        : executable(command.executable.c_str()), folder(command.currentFolder.c_str()),
          arguments(pointersTo(command.arguments)), streams(itsStreams),
          statusFd(status.writeEnd.get()), parent(::getpid()) {
        arguments.insert(arguments.begin(), const_cast<char*>(executable));
    }

    /// One that dies with its parent.
    [[noreturn]] void becomeCommand() {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) // it died before the request above was made
            ::_exit(cannotExecute);
        execute(environ, -1);
    }

    /// One that is nobody's child any more: the process that calls this ends, and what becomes the
    /// command is a child of it.
    [[noreturn]] void becomeDetachedCommand(char** environment, int inherited) {
        ::setsid();
        const pid_t pid = ::fork();
        if (pid < 0)
            fail();
        if (pid > 0)
            ::_exit(0);
        execute(environment, inherited);
    }

  private:
    [[noreturn]] void execute(char** environment, int inherited) {
        resetSignals();
        for (int stream = 0; stream < 3; ++stream)
            if (::dup2(streams[static_cast<std::size_t>(stream)], stream) < 0)
                fail();
        ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
        if (::chdir(folder) != 0 || (inherited >= 0 && ::fcntl(inherited, F_SETFD, 0) != 0))
            fail();
        ::execve(executable, arguments.data(), environment);
        fail();
    }

    static void resetSignals() {
        for (int signal = 1; signal < NSIG; ++signal)
            setSignalHandler(signal, SIG_DFL);
        sigset_t none;
        ::sigemptyset(&none);
        ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
    }

    [[noreturn]] void fail() const {
        const int error = errno;
        [[maybe_unused]] const ssize_t told = ::write(statusFd, &error, sizeof error);
        ::_exit(cannotExecute);
    }

    const char* executable;
    const char* folder;
    std::vector<char*> arguments;
    std::array<int, 3> streams;
    int statusFd;
    pid_t parent;
};

/// Waits until the child runs its command. The error that kept it from that, or 0.
int outcomeOf(const UniqueFd& status) {
    int error = 0;
    const ssize_t count = uninterrupted([&] { return ::read(status.get(), &error, sizeof error); });
    return count < 0 ? errno : error;
}

/// This program's environment, where `setting` takes the place of that variable.
std::vector<std::string> environmentWith(const std::string& setting) {
    std::vector<std::string> environment{setting};
    const std::string name = setting.substr(0, setting.find('=') + 1);
    for (char** entry = environ; *entry; ++entry)
        if (std::string_view(*entry).substr(0, name.size()) != name)
            environment.emplace_back(*entry);
    return environment;
}

} // namespace

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throwError(errno, "pipe2");
    Pipe pipe{UniqueFd(ends[0]), UniqueFd(ends[1])};
    pipe.readEnd = aboveStandardStreams(std::move(pipe.readEnd));
    pipe.writeEnd = aboveStandardStreams(std::move(pipe.writeEnd));
    return pipe;
}

void makeNonBlocking(const UniqueFd& fd) {
    if (::fcntl(fd.get(), F_SETFL, O_NONBLOCK) != 0)
        throwError(errno, "fcntl");
}

void ignoreBrokenPipes() { setSignalHandler(SIGPIPE, SIG_IGN); }

LaunchedChild launchChild(const ChildCommand& command) {
    prepareSignalsOnce();
    Pipe input = makePipe();
    Pipe output = makePipe();
    Pipe errors = makePipe();
    Pipe status = makePipe();
    makeNonBlocking(input.writeEnd);
    makeNonBlocking(output.readEnd);
    makeNonBlocking(errors.readEnd);

    ChildSide child(command, {input.readEnd.get(), output.writeEnd.get(), errors.writeEnd.get()},
                    status);
    const pid_t pid = ::fork();
    if (pid == 0)
        child.becomeCommand();
    if (pid < 0)
        throwError(errno, "fork");
    UniqueFd process(::pidfd_open(pid, 0));
    int error = process ? 0 : errno;
    status.writeEnd.reset();
    if (error == 0)
        error = outcomeOf(status.readEnd);
    if (error != 0) {
        ::kill(pid, SIGKILL); // not waited for yet, so the id is still its own
        ::waitpid(pid, nullptr, 0);
        throwError(error, "child process");
    }
    return {pid, std::move(process), std::move(input.writeEnd), std::move(output.readEnd),
            std::move(errors.readEnd)};
}

void launchDetached(const ChildCommand& command, const UniqueFd& inherited,
                    const std::string& setting) {
    prepareSignalsOnce();
    Pipe status = makePipe();
    const UniqueFd nothing =
        aboveStandardStreams(UniqueFd(::open("/dev/null", O_RDWR | O_CLOEXEC)));
    const std::vector<std::string> environment = environmentWith(setting);
    std::vector<char*> entries = pointersTo(environment);
    ChildSide child(command, {nothing.get(), nothing.get(), nothing.get()}, status);
    const pid_t pid = ::fork();
    if (pid == 0)
        child.becomeDetachedCommand(entries.data(), inherited.get());
    if (pid < 0)
        throwError(errno, "fork");
    status.writeEnd.reset();
    uninterrupted([&] { return ::waitpid(pid, nullptr, 0); });
    if (const int error = outcomeOf(status.readEnd); error != 0)
        throwError(error, "program");
}

} // namespace tallywick

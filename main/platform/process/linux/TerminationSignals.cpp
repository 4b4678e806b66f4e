#include "platform/process/TerminationSignals.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace tallywick {

namespace {

sigset_t requests() {
    sigset_t set;
    ::sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&set, signal);
    return set;
}

/// A descriptor that becomes readable at a request; threads that are started later inherit the
/// block.
int blockAndWatch() {
    const sigset_t set = requests();
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    const int descriptor = ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "signalfd");
    return descriptor;
}

} // namespace

TerminationSignals::TerminationSignals() : descriptor(blockAndWatch()) {}

void TerminationSignals::listen(std::function<void()> onRequest) {
    notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                     [fd = descriptor, handler = std::move(onRequest)] {
                         signalfd_siginfo request{};
                         if (::read(fd, &request, sizeof request) > 0)
                             handler();
                     });
}

TerminationSignals::~TerminationSignals() {
    const sigset_t set = requests();
    notifier.reset();
    ::close(descriptor);
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

} // namespace tallywick

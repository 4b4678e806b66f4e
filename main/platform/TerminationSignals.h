#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>

namespace tallywick {

/// Turns the system's polite requests to end (SIGTERM, SIGINT, SIGHUP) into a call from the event
/// loop of the main thread. At most one at a time; it is made before any thread is started, and
/// once it is destroyed such a request ends the program at once again.
class TerminationSignals {
  public:
    /// Throws std::system_error when the system refuses.
    explicit TerminationSignals(std::function<void()> onRequest);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

  private:
    int descriptor;
    QSocketNotifier notifier;
};

} // namespace tallywick

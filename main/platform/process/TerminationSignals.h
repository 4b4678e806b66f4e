#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace tallywick {

/// Turns the system's polite requests to end (SIGTERM, SIGINT, SIGHUP) into a call from the event
/// loop of the main thread. At most one at a time; it is made before any thread is started, also
/// before a graphical application, which starts some. Requests wait until `listen` is called, and
/// once it is destroyed such a request ends the program at once again.
class TerminationSignals {
  public:
    /// Throws std::system_error when the system refuses.
    TerminationSignals();
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    /// Calls the handler at every request from now on. Needs the application object, which must
    /// outlive this one's last request.
    void listen(std::function<void()> onRequest);

  private:
    int descriptor;
    std::unique_ptr<QSocketNotifier> notifier;
};

} // namespace tallywick

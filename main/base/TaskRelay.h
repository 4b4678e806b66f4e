#pragma once

#include <functional>
#include <memory>

namespace tallywick {

/// Brings tasks of any thread to the thread that made the relay: they run there one by one, in the
/// order in which they were given, from its event loop.
///
/// The relay is made and destroyed on that thread. Tasks that have not run by then are dropped.
class TaskRelay {
  public:
    using Task = std::function<void()>;

    TaskRelay();
    ~TaskRelay();
    TaskRelay(const TaskRelay&) = delete;
    TaskRelay& operator=(const TaskRelay&) = delete;

    /// Takes a task and returns at once. May be called from any thread and outlive the relay, after
    /// which it drops what it is given.
    std::function<void(Task)> entrance() const;

  private:
    struct Inbox;
    class Receiver;

    std::shared_ptr<Inbox> inbox;
    std::unique_ptr<Receiver> receiver;
};

} // namespace tallywick

#pragma once

#include "base/ThreadAnnotations.h"

#include <functional>
#include <memory>
#include <string_view>

namespace tallywick {

/// Runs tasks one at a time, in the order in which they were given, on a thread of its own.
///
/// The thread carries the last part of the queue's label as its name, so that
/// "com.corvane.utility.account" is the thread "account" in a debugger. Every operation may be
/// called from any thread, the queue's own included. A task must not let an exception escape.
///
/// The queue is also a capability for clang's thread-safety analysis: a field `GUARDED_BY` a queue
/// is touched only in functions that start with `assertIsCurrent` (or require the queue).
class CAPABILITY("serial queue") SerialQueue {
  public:
    using Task = std::function<void()>;

    explicit SerialQueue(std::string_view label);

    /// Drops the tasks that have not started and waits for the one that runs, if any. Called from
    /// a task of this very queue it does not wait: the thread ends when that task returns.
    ~SerialQueue();

    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Appends a task and returns at once.
    void async(Task task);

    /// Appends a task and returns when it has run. On the queue's own thread it runs at once.
    void sync(const Task& task);

    bool isCurrent() const;

    /// States that the caller runs on this queue; a debug build checks it.
    void assertIsCurrent() const ASSERT_CAPABILITY(this);

  private:
    struct Worker;
    std::shared_ptr<Worker> worker;
};

} // namespace tallywick

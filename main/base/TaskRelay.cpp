#include "base/TaskRelay.h"

#include "base/Mutex.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <deque>
#include <optional>
#include <utility>

namespace tallywick {

/// The tasks, and an event for each on its way to the receiver. They go through a lock of ours and
/// not through the event: so the handing over is plain to the thread sanitizer, which does not see
/// the locks inside Qt.
struct TaskRelay::Inbox {
    Mutex lock;
    std::deque<Task> tasks GUARDED_BY(lock);
    QObject* receiver GUARDED_BY(lock) = nullptr; ///< null once the relay is gone

    void put(Task task) {
        MutexLock guard(lock);
        if (!receiver)
            return;
        tasks.push_back(std::move(task));
        QCoreApplication::postEvent(receiver, new QEvent(QEvent::User));
    }

    std::optional<Task> take() {
        MutexLock guard(lock);
        if (tasks.empty())
            return std::nullopt;
        Task task = std::move(tasks.front());
        tasks.pop_front();
        return task;
    }

    void setReceiver(QObject* object) {
        std::deque<Task> dropped; // destroyed without the lock
        MutexLock guard(lock);
        receiver = object;
        if (!object)
            dropped.swap(tasks);
    }
};

class TaskRelay::Receiver : public QObject {
  public:
    explicit Receiver(std::shared_ptr<Inbox> given) : inbox(std::move(given)) {}

  protected:
    void customEvent(QEvent*) override {
        if (const auto task = inbox->take())
            (*task)();
    }

  private:
    const std::shared_ptr<Inbox> inbox;
};

TaskRelay::TaskRelay()
    : inbox(std::make_shared<Inbox>()), receiver(std::make_unique<Receiver>(inbox)) {
    inbox->setReceiver(receiver.get());
}

TaskRelay::~TaskRelay() { inbox->setReceiver(nullptr); }

std::function<void(TaskRelay::Task)> TaskRelay::entrance() const {
    return [shared = inbox](Task task) { shared->put(std::move(task)); };
}

} // namespace tallywick

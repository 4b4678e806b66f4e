#include "base/SerialQueue.h"

#include "base/Mutex.h"

#include <pthread.h>

#include <cassert>
#include <deque>
#include <string>
#include <thread>
#include <utility>

namespace tallywick {

namespace {

/// The kernel keeps 15 characters of a thread's name.
std::string threadName(std::string_view label) {
    const auto dot = label.rfind('.');
    return std::string(dot == std::string_view::npos ? label : label.substr(dot + 1)).substr(0, 15);
}

} // namespace

/// What the queue and its thread share; it outlives a queue that is destroyed by its own task.
struct SerialQueue::Worker {
    Mutex mutex;
    Condition wakeUp;
    std::deque<Task> tasks GUARDED_BY(mutex);
    bool ending GUARDED_BY(mutex) = false;
    std::thread thread;

    void run() {
        while (Task task = nextTask())
            task();
    }

    /// Waits for a task; an empty one says that the queue is ending.
    Task nextTask() EXCLUDES(mutex) {
        MutexLock lock(mutex);
        while (tasks.empty() && !ending)
            wakeUp.wait(mutex);
        if (ending)
            return {};
        Task task = std::move(tasks.front());
        tasks.pop_front();
        return task;
    }

    void end() EXCLUDES(mutex) {
        std::deque<Task> dropped; // destroyed after the lock: a task may own anything
        MutexLock lock(mutex);
        ending = true;
        dropped.swap(tasks);
        wakeUp.notifyAll();
    }
};

SerialQueue::SerialQueue(std::string_view label) : worker(std::make_shared<Worker>()) {
    worker->thread = std::thread([shared = worker, name = threadName(label)] {
        pthread_setname_np(pthread_self(), name.c_str());
        shared->run();
    });
}

SerialQueue::~SerialQueue() {
    worker->end();
    if (isCurrent())
        worker->thread.detach();
    else
        worker->thread.join();
}

void SerialQueue::async(Task task) {
    const std::shared_ptr<Worker> shared = worker; // the task may destroy the queue at once
    {
        MutexLock lock(shared->mutex);
        shared->tasks.push_back(std::move(task));
    }
    shared->wakeUp.notifyAll(); // without the lock, which the worker takes first
}

void SerialQueue::sync(const Task& task) {
    if (isCurrent()) {
        task();
        return;
    }
    Mutex mutex;
    Condition finished;
    bool done = false;
    async([&] {
        task();
        MutexLock lock(mutex);
        done = true;
        finished.notifyAll();
    });
    MutexLock lock(mutex);
    while (!done)
        finished.wait(mutex);
}

bool SerialQueue::isCurrent() const {
    return worker->thread.get_id() == std::this_thread::get_id();
}

void SerialQueue::assertIsCurrent() const { assert(isCurrent()); }

} // namespace tallywick

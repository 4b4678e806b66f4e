#include "base/SerialQueue.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tallywick {
namespace {

TEST(SerialQueue, runsTheTasksOfEveryThreadOneAtATimeInTheirOrder) {
    constexpr int threadCount = 4;
    constexpr int taskCount = 500;
    std::array<std::vector<int>, threadCount> seen; // touched by the queue alone
    SerialQueue queue("com.corvane.utility.test");
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < taskCount; ++i)
                queue.async([&, thread, i] { seen[thread].push_back(i); });
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    queue.sync([] {});
    for (const std::vector<int>& numbers : seen) {
        EXPECT_EQ(numbers.size(), taskCount);
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    }
}

TEST(SerialQueue, runsOnANamedThreadOfItsOwnAndASynchronousTaskInItAtOnce) {
    SerialQueue queue("com.corvane.utility.rpc-reader-of-long-name");
    std::array<char, 16> name{};
    std::string order;
    EXPECT_FALSE(queue.isCurrent());
    queue.sync([&] {
        EXPECT_TRUE(queue.isCurrent());
        pthread_getname_np(pthread_self(), name.data(), name.size());
        queue.async([&] { order += "later"; });
        queue.sync([&] { order += "now "; });
    });
    queue.sync([] {});
    EXPECT_STREQ(name.data(), "rpc-reader-of-l");
    EXPECT_EQ(order, "now later");
}

TEST(SerialQueue, destructionDropsWhatHasNotStartedAndWaitsForWhatRuns) {
    std::promise<void> started;
    std::promise<void> dropped;
    bool finished = false;
    bool droppedRan = false;
    {
        SerialQueue queue("test");
        queue.async([&] {
            started.set_value();
            dropped.get_future().wait(); // the end of this test if nothing is dropped before
            finished = true;
        });
        std::shared_ptr<void> tellsItsEnd(nullptr, [&](void*) { dropped.set_value(); });
        queue.async([&droppedRan, owned = std::move(tellsItsEnd)] { droppedRan = true; });
        started.get_future().wait();
    }
    EXPECT_TRUE(finished);
    EXPECT_FALSE(droppedRan);
}

TEST(SerialQueue, canBeDestroyedByItsOwnTask) {
    std::promise<void> released;
    auto ended = std::make_shared<std::promise<void>>();
    const std::future<void> end = ended->get_future();
    std::shared_ptr<void> tellsItsEnd(nullptr,
                                      [ended = std::move(ended)](void*) { ended->set_value(); });
    auto queue = std::make_shared<SerialQueue>("test");
    queue->async([&released, last = queue, owned = std::move(tellsItsEnd)]() mutable {
        released.get_future().wait();
        last.reset();
    });
    queue.reset();
    released.set_value();
    end.wait();
}

} // namespace
} // namespace tallywick

#include "base/SerialQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace tallywick {
namespace {

TEST(SerialQueue, runsTheTasksOfEveryThreadOneAtATimeInTheirOrder) {
    constexpr std::size_t taskCount = 500;
    std::array<std::vector<std::size_t>, 4> seen; // touched by the queue alone
    SerialQueue queue("test");
    std::vector<std::thread> threads;
    for (auto& numbers : seen)
        threads.emplace_back([&] {
            for (std::size_t i = 0; i < taskCount; ++i)
                queue.async([&numbers, i] { numbers.push_back(i); });
        });
    for (std::thread& thread : threads)
        thread.join();
    queue.sync([] {});
    for (const auto& numbers : seen) {
        EXPECT_EQ(numbers.size(), taskCount);
        EXPECT_TRUE(std::ranges::is_sorted(numbers));
    }
}

TEST(SerialQueue, runsASynchronousTaskWithinATaskAtOnce) {
    std::string order;
    SerialQueue queue("test");
    EXPECT_FALSE(queue.isCurrent());
    queue.sync([&] {
        EXPECT_TRUE(queue.isCurrent());
        queue.async([&] { order += "later"; });
        queue.sync([&] { order += "now "; });
    });
    queue.sync([] {});
    EXPECT_EQ(order, "now later");
}

TEST(SerialQueue, dropsWhatHasNotStartedAndWaitsForWhatRunsWhenDestroyed) {
    std::promise<void> started;
    auto owned = std::make_shared<std::promise<void>>();
    const std::future<void> dropped = owned->get_future(); // ready when its owner is gone
    bool finished = false;
    bool droppedRan = false;
    {
        SerialQueue queue("test");
        queue.async([&] {
            started.set_value();
            dropped.wait(); // the end of this test if nothing is dropped before
            finished = true;
        });
        queue.async([&droppedRan, kept = std::move(owned)] { droppedRan = true; });
        started.get_future().wait();
    }
    EXPECT_TRUE(finished);
    EXPECT_FALSE(droppedRan);
}

TEST(SerialQueue, canBeDestroyedByItsOwnTask) {
    std::promise<void> released;
    auto owned = std::make_shared<std::promise<void>>();
    const std::future<void> ended = owned->get_future();
    auto queue = std::make_shared<SerialQueue>("test");
    queue->async([&released, last = queue, kept = std::move(owned)]() mutable {
        released.get_future().wait();
        last.reset();
    });
    queue.reset();
    released.set_value();
    ended.wait();
}

} // namespace
} // namespace tallywick

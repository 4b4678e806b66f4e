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
    {
        std::vector<std::jthread> threads;
        for (auto& numbers : seen)
            threads.emplace_back([&] {
                for (std::size_t i = 0; i < taskCount; ++i)
                    queue.async([&numbers, i] { numbers.push_back(i); });
            });
    }
    std::string order;
    queue.sync([&] {
        queue.async([&] { order += "later"; });
        queue.sync([&] { order += queue.isCurrent() ? "now " : "elsewhere "; });
    });
    queue.sync([] {});
    EXPECT_EQ(order, "now later") << "a synchronous task within a task is run at once";
    EXPECT_FALSE(queue.isCurrent());
    for (const auto& numbers : seen)
        EXPECT_TRUE(numbers.size() == taskCount && std::ranges::is_sorted(numbers));
}

TEST(SerialQueue, dropsWhatHasNotStartedAndWaitsForWhatRunsWhenDestroyed) {
    auto owned = std::make_shared<std::promise<void>>();
    const std::future<void> dropped = owned->get_future(); // ready when its owner is gone
    std::promise<void> started;
    std::string ran;
    {
        SerialQueue queue("test");
        queue.async([&] {
            started.set_value();
            dropped.wait(); // the end of this test if nothing is dropped before
            ran += "the first to its end";
        });
        queue.async([&ran, kept = std::move(owned)] { ran += "what was to be dropped"; });
        started.get_future().wait();
    }
    EXPECT_EQ(ran, "the first to its end");
}

TEST(SerialQueue, canBeDestroyedByItsOwnTask) {
    auto owned = std::make_shared<std::promise<void>>();
    const std::future<void> ended = owned->get_future();
    auto queue = std::make_shared<SerialQueue>("test");
    SerialQueue& itself = *queue;
    itself.async([last = std::move(queue), kept = std::move(owned)]() mutable { last.reset(); });
    ended.wait();
}

} // namespace
} // namespace tallywick

#include "hardware/HardwareMonitor.h"
#include "hardware/HardwareFigures.h"

#include <gmock/gmock.h>

namespace tallywick {
namespace {

constexpr std::uint64_t largest = ~0ULL;

class StatisticsMock : public HostStatistics {
  public:
    MOCK_METHOD(std::optional<CpuTicks>, cpuTicks, (), (override));
    MOCK_METHOD(std::optional<MemoryPages>, memoryPages, (), (override));
};

TEST(CpuPercent, IsTheBusyShareOfTheTimeThatPassed) {
    const struct {
        const char* name;
        CpuTicks previous;
        CpuTicks current;
        std::optional<double> percent;
    } cases[] = {
        {"user, system and nice are busy", {100, 200, 300, 400}, {130, 210, 350, 410}, 50},
        {"no time passed", {1, 2, 3, 4}, {1, 2, 3, 4}, std::nullopt},
        {"never idle", {1, 2, 3, 4}, {2, 3, 3, 5}, 100},
        {"the busy counter went backwards", {100, 0, 0, 0}, {40, 25, 75, 0}, 25},
        {"the idle counter went backwards", {0, 0, 100, 0}, {10, 0, 90, 0}, 100},
        {"the largest deltas", {0, 0, 0, 0}, {largest, largest, largest, largest}, 75},
    };
    for (const auto& row : cases)
        EXPECT_EQ(cpuPercent(row.previous, row.current), row.percent) << row.name;
}

TEST(MemoryPercent, IsTheUsedShareOfThePhysicalMemory) {
    const struct {
        const char* name;
        MemoryPages pages;
        std::optional<double> percent;
    } cases[] = {
        {"a quarter", {1, 4096, 16'384}, 25},
        {"more than there is", {5, 4096, 16'384}, 100},
        {"more than 64 bits count", {largest, 4096, 16'384}, 100},
        {"a machine without memory", {1, 4096, 0}, std::nullopt},
    };
    for (const auto& row : cases)
        EXPECT_EQ(memoryPercent(row.pages), row.percent) << row.name;
}

TEST(HardwareMonitor, MeasuresSinceTheLastSampleThatCouldBeRead) {
    using ::testing::Return;
    auto statistics = std::make_unique<::testing::StrictMock<StatisticsMock>>();
    EXPECT_CALL(*statistics, cpuTicks)
        .WillOnce(Return(CpuTicks{10, 0, 0, 0}))
        .WillOnce(Return(std::nullopt))
        .WillOnce(Return(CpuTicks{20, 0, 30, 0}))
        .WillOnce(Return(CpuTicks{40, 0, 30, 0}));
    EXPECT_CALL(*statistics, memoryPages)
        .WillOnce(Return(MemoryPages{1, 1, 2}))
        .WillOnce(Return(MemoryPages{1, 1, 4}))
        .WillOnce(Return(std::nullopt))
        .WillOnce(Return(MemoryPages{1, 1, 1}));

    HardwareMonitor monitor(std::move(statistics), nullptr);
    EXPECT_EQ(monitor.sample(), (HardwareSnapshot{std::nullopt, 50}));
    EXPECT_EQ(monitor.sample(), (HardwareSnapshot{std::nullopt, 25}));
    EXPECT_EQ(monitor.sample(), (HardwareSnapshot{25, std::nullopt}));
    EXPECT_EQ(monitor.sample(), (HardwareSnapshot{100, 100}));
}

} // namespace
} // namespace tallywick

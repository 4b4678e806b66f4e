#include "hardware/HardwareService.h"

#include "hardware/HardwareFigures.h"

#include <gtest/gtest.h>

#include <future>

namespace tallywick {
namespace {

constexpr std::uint64_t largest = ~0ULL;

TEST(HardwareFigures, AreTheUsedShares) {
    EXPECT_EQ(cpuPercent({100, 200, 300, 400}, {130, 210, 350, 410}), 50);
    EXPECT_EQ(cpuPercent({1, 2, 3, 4}, {1, 2, 3, 4}), std::nullopt);
    EXPECT_EQ(cpuPercent({100, 0, 0, 0}, {40, 25, 75, 0}), 25) << "backwards";
    EXPECT_EQ(cpuPercent({0, 0, 100, 0}, {10, 0, 90, 0}), 100) << "backwards";
    EXPECT_EQ(cpuPercent({0, 0, 0, 0}, {largest, largest, largest, largest}), 75);
    EXPECT_EQ(memoryPercent({1, 4096, 16'384}), 25);
    EXPECT_EQ(memoryPercent({5, 4096, 16'384}), 100) << "more than there is";
    EXPECT_EQ(memoryPercent({1ULL << 52, 4096, 16'384}), 100) << "more than 64 bits count";
    EXPECT_EQ(memoryPercent({1, 4096, 0}), std::nullopt);
}

/// A machine of which the second look at the processors and the third at the memory fail.
struct FakeStatistics : HostStatistics {
    std::optional<CpuTicks> cpuTicks() override {
        static constexpr std::optional<CpuTicks> ticks[] = {
            {{10, 0, 0, 0}}, {}, {{20, 0, 30, 0}}, {{40, 0, 30, 0}}};
        return ticks[looks];
    }
    std::optional<MemoryPages> memoryPages() override {
        static constexpr std::optional<MemoryPages> pages[] = {
            {{1, 1, 2}}, {{1, 1, 4}}, {}, {{1, 1, 1}}};
        return pages[looks++];
    }
    std::size_t looks = 0;
};

struct FakeVolumes : MountedVolumes {
    std::vector<MountedVolume> list() override {
        return {{"/", std::nullopt, 10, 4, 4, true, true}};
    }
    std::string unnamedRootName() const override { return "Root"; }
};

std::unique_ptr<HardwareService> newService() {
    return std::make_unique<HardwareService>(std::make_unique<FakeStatistics>(),
                                             std::make_unique<FakeVolumes>());
}

TEST(HardwareService, AnswersInTurnAndMeasuresSinceTheLastSampleThatCouldBeRead) {
    std::vector<HardwareSnapshot> samples;
    std::promise<std::vector<VolumeInfo>> listed;
    const auto service = newService(); // destroyed first: it ends the queue
    for (int i = 0; i < 4; ++i)
        service->sample([&](HardwareSnapshot sample) { samples.push_back(sample); });
    service->volumes([&](const auto& volumes) { listed.set_value(volumes); });
    EXPECT_EQ(listed.get_future().get(), (std::vector<VolumeInfo>{{"/", "Root", 4, 10}}));
    const std::vector<HardwareSnapshot> expected{
        {std::nullopt, 50}, {std::nullopt, 25}, {25, std::nullopt}, {100, 100}};
    EXPECT_EQ(samples, expected);
}

TEST(HardwareService, MayBeDestroyedByACompletionWithWorkWaiting) {
    auto service = newService();
    const auto destroyed = std::make_shared<std::promise<void>>();
    service->sample([&service, destroyed](HardwareSnapshot) {
        auto owned = std::make_shared<int>();
        const std::weak_ptr<int> waiting = owned;
        service->sample([owned](HardwareSnapshot) { ADD_FAILURE() << "not dropped"; });
        owned.reset();
        EXPECT_FALSE(waiting.expired());
        service.reset();
        EXPECT_TRUE(waiting.expired());
        destroyed->set_value();
    });
    destroyed->get_future().wait();
}

} // namespace
} // namespace tallywick

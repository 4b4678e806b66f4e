#include "hardware/HardwareService.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <array>
#include <future>
#include <memory>
#include <string>

namespace tallywick {
namespace {

/// Counters that move by one user tick and one idle tick from call to call.
class FakeStatistics : public HostStatistics {
  public:
    std::optional<CpuTicks> cpuTicks() override {
        ++calls;
        return CpuTicks{calls, 0, calls, 0};
    }
    std::optional<MemoryPages> memoryPages() override { return MemoryPages{1, 1, 4}; }

  private:
    std::uint64_t calls = 0;
};

class FakeVolumes : public MountedVolumes {
  public:
    std::vector<MountedVolume> list() override {
        return {{"/", std::nullopt, 10, 4, 4, true, true}};
    }
    std::string unnamedRootName() const override { return "Root"; }
};

std::unique_ptr<HardwareService> newService() {
    return std::make_unique<HardwareService>(std::make_unique<FakeStatistics>(),
                                             std::make_unique<FakeVolumes>());
}

std::string threadName() {
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

TEST(HardwareService, AnswersInTurnOnItsQueue) {
    std::promise<std::string> finished;
    std::string answers;
    const auto service = newService(); // destroyed first: it ends the queue
    service->volumes([&](const std::vector<VolumeInfo>& volumes) {
        EXPECT_EQ(volumes, (std::vector<VolumeInfo>{{"/", "Root", 4, 10}}));
        answers += "volumes ";
    });
    service->sample([&](HardwareSnapshot snapshot) {
        EXPECT_EQ(snapshot, (HardwareSnapshot{std::nullopt, 25}));
        answers += "first ";
    });
    service->sample([&](HardwareSnapshot snapshot) {
        EXPECT_EQ(snapshot, (HardwareSnapshot{50, 25}));
        finished.set_value(answers + "second on " + threadName());
    });
    EXPECT_EQ(finished.get_future().get(), "volumes first second on hardware");
}

TEST(HardwareService, MayBeDestroyedByACompletionWithWorkWaiting) {
    auto service = newService();
    const auto destroyed = std::make_shared<std::promise<void>>();
    service->sample([&service, destroyed](HardwareSnapshot) {
        auto owned = std::make_shared<int>();
        const std::weak_ptr<int> waiting = owned;
        service->sample([owned](HardwareSnapshot) { ADD_FAILURE() << "not dropped"; });
        service->volumes(
            [owned](const std::vector<VolumeInfo>&) { ADD_FAILURE() << "not dropped"; });
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

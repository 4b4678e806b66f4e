#include "hardware/HardwareService.h"

#include "hardware/HardwareFigures.h"

#include <QLocale>

#include <utility>

namespace tallywick {

HardwareMonitor::HardwareMonitor(std::unique_ptr<HostStatistics> hostStatistics,
                                 std::unique_ptr<MountedVolumes> mountedVolumes)
    : statistics(std::move(hostStatistics)), mounted(std::move(mountedVolumes)) {}

HardwareSnapshot HardwareMonitor::sample() {
    const auto cpu = cpuLoad();
    const auto pages = statistics->memoryPages();
    return {.cpuPercent = cpu, .memoryPercent = pages ? memoryPercent(*pages) : std::nullopt};
}

std::vector<VolumeInfo> HardwareMonitor::volumes() {
    return shownVolumes(mounted->list(), mounted->unnamedRootName(), QLocale());
}

std::optional<double> HardwareMonitor::cpuLoad() {
    const auto ticks = statistics->cpuTicks();
    if (!ticks)
        return std::nullopt;
    const auto previous = std::exchange(previousTicks, ticks);
    return previous ? cpuPercent(*previous, *ticks) : std::nullopt;
}

HardwareService::HardwareService(std::unique_ptr<HostStatistics> hostStatistics,
                                 std::unique_ptr<MountedVolumes> mountedVolumes)
    : monitor(
        std::make_shared<HardwareMonitor>(std::move(hostStatistics), std::move(mountedVolumes))),
      queue("com.corvane.utility.hardware") {}

HardwareService::~HardwareService() = default;

// A task owns the monitor with the service: a completion may destroy the service.

void HardwareService::sample(SampleCompletion completion) {
    queue.async([measuring = monitor, done = std::move(completion)] { done(measuring->sample()); });
}

void HardwareService::volumes(VolumesCompletion completion) {
    queue.async(
        [measuring = monitor, done = std::move(completion)] { done(measuring->volumes()); });
}

} // namespace tallywick

#include "hardware/HardwareMonitor.h"

#include "hardware/HardwareFigures.h"
#include "hardware/VolumeList.h"

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

} // namespace tallywick

#include "hardware/HardwareService.h"

#include "hardware/HardwareMonitor.h"

#include <utility>

namespace tallywick {

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

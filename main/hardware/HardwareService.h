#pragma once

#include "base/SerialQueue.h"
#include "hardware/HardwareSnapshot.h"
#include "hardware/VolumeInfo.h"
#include "platform/HostStatistics.h"
#include "platform/MountedVolumes.h"

#include <functional>
#include <memory>
#include <vector>

namespace tallywick {

class HardwareMonitor;

/// Runs the measurements of the hardware on a queue of its own, one at a time and only when asked.
///
/// Both operations may be called from any thread and return at once. A completion is called once,
/// on the queue, and must not touch its owner's state there; measurements that have not begun when
/// the service is destroyed are dropped with their completions.
class HardwareService {
  public:
    using SampleCompletion = std::function<void(HardwareSnapshot)>;
    using VolumesCompletion = std::function<void(std::vector<VolumeInfo>)>;

    HardwareService(std::unique_ptr<HostStatistics> hostStatistics,
                    std::unique_ptr<MountedVolumes> mountedVolumes);
    HardwareService(const HardwareService&) = delete;
    HardwareService& operator=(const HardwareService&) = delete;

    /// Waits for a measurement that runs, unless a completion destroys the service.
    ~HardwareService();

    /// Takes one CPU and memory sample.
    void sample(SampleCompletion completion);

    /// Lists the local volumes in the order in which they are shown.
    void volumes(VolumesCompletion completion);

  private:
    const std::shared_ptr<HardwareMonitor> monitor; // used on the queue only
    SerialQueue queue;
};

} // namespace tallywick

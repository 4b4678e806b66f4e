#pragma once

#include "base/SerialQueue.h"
#include "hardware/HardwareSnapshot.h"
#include "platform/machine/HostStatistics.h"
#include "platform/machine/MountedVolumes.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tallywick {

/// Measures the machine. Every failure of the system's makes the affected value absent or leaves
/// the volume out. One thread at a time.
class HardwareMonitor {
  public:
    HardwareMonitor(std::unique_ptr<HostStatistics> hostStatistics,
                    std::unique_ptr<MountedVolumes> mountedVolumes);

    /// CPU and memory load. The CPU load is that since the last sample which could read the
    /// counters, so that the first one has none.
    HardwareSnapshot sample();

    /// The local volumes in the order in which they are shown, sorted for the current default
    /// locale.
    std::vector<VolumeInfo> volumes();

  private:
    std::optional<double> cpuLoad();

    const std::unique_ptr<HostStatistics> statistics;
    const std::unique_ptr<MountedVolumes> mounted;
    std::optional<CpuTicks> previousTicks;
};

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

#pragma once

#include "hardware/HardwareSnapshot.h"
#include "hardware/VolumeInfo.h"
#include "platform/HostStatistics.h"
#include "platform/MountedVolumes.h"

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

} // namespace tallywick

#pragma once

#include "hardware/HardwareService.h"
#include "platform/desktop/Workspace.h"
#include "state/DueTime.h"
#include "state/StateContext.h"

#include <functional>
#include <memory>
#include <vector>

namespace tallywick {

/// The load of the machine and its volumes: reads them when they are due, and opens a volume.
///
/// Publishes `cpuPercent`, `memoryPercent` and `volumes`, and `settingsStatus` when a volume cannot
/// be opened. Main thread only. What it measures always comes to an end and never fails; what comes
/// while the state is paused is dropped.
class MachineReadings {
  public:
    /// `volumesDidChange` is called when another number of them is on show. Context and workspace
    /// must outlive it.
    MachineReadings(StateContext& given, std::unique_ptr<HardwareService> measurements,
                    Workspace& desktop, std::function<void()> volumesDidChange);

    void makeDue();
    /// Begins what is due and not being measured already. To be called while somebody sees it.
    void refreshIfDue();

    /// Opens a volume in the file browser once a fresh list has shown that it is still there. It
    /// becomes the list on show when the volume has gone.
    void open(const VolumeInfo& volume);

  private:
    void refreshLoadIfDue();
    void refreshVolumesIfDue();
    void openListed(const VolumeInfo& volume, const std::vector<VolumeInfo>& listed,
                    bool isMounted);
    void publish(const std::vector<VolumeInfo>& volumes);

    StateContext& context;
    const std::unique_ptr<HardwareService> service;
    Workspace& workspace;
    const std::function<void()> countDidChange;
    DueTime nextLoad;
    DueTime nextVolumes;
    bool loadBusy = false;
    bool volumesBusy = false;
};

} // namespace tallywick

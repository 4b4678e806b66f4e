#pragma once

#include "hardware/HardwareSnapshot.h"
#include "platform/machine/HostStatistics.h"
#include "platform/machine/MountedVolumes.h"

#include <optional>
#include <string>
#include <vector>

class QLocale;

namespace tallywick {

/// The share of time from 0 to 100 in which the processors were busy between two readings. Absent
/// when no time passed. A counter that went backwards (a processor went offline) did not move.
std::optional<double> cpuPercent(const CpuTicks& previous, const CpuTicks& current);

/// The share of the physical memory from 0 to 100 that is in use; absent when its size is 0.
std::optional<double> memoryPercent(const MemoryPages& pages);

/// The volumes to show: those known to be local and to hold something, unless a file browser is
/// known not to show them.
///
/// The free capacity is the one for important usage when that is known and not 0, else the
/// available one, within 0 and the total. A volume without a name is called after the last part of
/// its mount point, the one at "/" by `unnamedRootName`. That one comes first; the others follow by
/// name as a file browser in `locale` sorts them (numbers by value, ignoring case), equal names in
/// the order given.
std::vector<VolumeInfo> shownVolumes(const std::vector<MountedVolume>& mounted,
                                     const std::string& unnamedRootName, const QLocale& locale);

} // namespace tallywick

#pragma once

#include "platform/HostStatistics.h"

#include <optional>

namespace tallywick {

/// The share of time from 0 to 100 in which the processors were busy between two readings. Absent
/// when no time passed. A counter that went backwards (a processor went offline) did not move.
std::optional<double> cpuPercent(const CpuTicks& previous, const CpuTicks& current);

/// The share of the physical memory from 0 to 100 that is in use; absent when its size is 0.
std::optional<double> memoryPercent(const MemoryPages& pages);

} // namespace tallywick

#pragma once

#include <optional>

namespace tallywick {

/// The load of the machine at one moment.
struct HardwareSnapshot {
    /// CPU load since the previous sample, 0 to 100; absent on the first sample or when it cannot
    /// be measured.
    std::optional<double> cpuPercent;
    /// Memory in use, 0 to 100; absent when it cannot be measured.
    std::optional<double> memoryPercent;

    bool operator==(const HardwareSnapshot&) const = default;
};

} // namespace tallywick

#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

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

/// A mounted local volume as it is shown.
struct VolumeInfo {
    std::filesystem::path url; ///< the mount point, which tells volumes apart
    std::string name;          ///< for display: valid UTF-8 on one line
    std::int64_t free = 0;     ///< bytes, 0 to `total`
    std::int64_t total = 0;    ///< bytes, more than 0

    bool operator==(const VolumeInfo&) const = default;
};

} // namespace tallywick

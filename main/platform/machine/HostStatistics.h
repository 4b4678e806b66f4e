#pragma once

#include <cstdint>
#include <memory>
#include <optional>

namespace tallywick {

/// Time that all logical processors together have spent in each state since the machine started.
/// The unit is the system's own; only ratios of differences mean anything.
struct CpuTicks {
    std::uint64_t user = 0;
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t nice = 0;

    bool operator==(const CpuTicks&) const = default;
};

/// Memory that programs and the kernel hold and that cannot be had for the asking.
struct MemoryPages {
    std::uint64_t used = 0;         ///< pages
    std::uint64_t pageSize = 0;     ///< bytes
    std::uint64_t physicalSize = 0; ///< bytes of the whole machine

    bool operator==(const MemoryPages&) const = default;
};

/// The operating system's load counters. Each call reads them anew, in well under a millisecond;
/// what cannot be read or contradicts itself is absent. One thread at a time.
class HostStatistics {
  public:
    HostStatistics() = default;
    HostStatistics(const HostStatistics&) = delete;
    HostStatistics& operator=(const HostStatistics&) = delete;
    virtual ~HostStatistics() = default;

    virtual std::optional<CpuTicks> cpuTicks() = 0;
    virtual std::optional<MemoryPages> memoryPages() = 0;
};

/// The counters of the machine that this program runs on.
std::unique_ptr<HostStatistics> systemHostStatistics();

} // namespace tallywick

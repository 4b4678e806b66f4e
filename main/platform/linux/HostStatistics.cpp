#include "platform/HostStatistics.h"

#include "platform/FileAccess.h"
#include "platform/linux/ProcStatistics.h"

#include <cstddef>

namespace tallywick {

namespace {

/// /proc/stat has a line for each processor and one long line that counts every interrupt source:
/// some hundred kibibytes on the largest machines.
constexpr std::size_t maximumProcFile = 4'000'000;

class LinuxHostStatistics : public HostStatistics {
  public:
    std::optional<CpuTicks> cpuTicks() override {
        const auto text = readRegularFile("/proc/stat", maximumProcFile);
        return text ? parseProcStat(*text) : std::nullopt;
    }

    std::optional<MemoryPages> memoryPages() override {
        const auto text = readRegularFile("/proc/meminfo", maximumProcFile);
        return text ? parseMeminfo(*text) : std::nullopt;
    }
};

} // namespace

std::unique_ptr<HostStatistics> systemHostStatistics() {
    return std::make_unique<LinuxHostStatistics>();
}

} // namespace tallywick

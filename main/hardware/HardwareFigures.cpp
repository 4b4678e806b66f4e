#include "hardware/HardwareFigures.h"

#include <algorithm>

namespace tallywick {

namespace {

/// As a double, so that no sum of deltas overflows.
double delta(std::uint64_t previous, std::uint64_t current) {
    return current > previous ? static_cast<double>(current - previous) : 0;
}

double percentage(double part, double whole) { return std::clamp(part * 100 / whole, 0.0, 100.0); }

} // namespace

std::optional<double> cpuPercent(const CpuTicks& previous, const CpuTicks& current) {
    const double busy = delta(previous.user, current.user) + delta(previous.system, current.system)
                        + delta(previous.nice, current.nice);
    const double total = busy + delta(previous.idle, current.idle);
    return total > 0 ? std::optional(percentage(busy, total)) : std::nullopt;
}

std::optional<double> memoryPercent(const MemoryPages& pages) {
    if (pages.physicalSize == 0)
        return std::nullopt;
    std::uint64_t used = 0;
    if (__builtin_mul_overflow(pages.used, pages.pageSize, &used))
        used = pages.physicalSize;
    used = std::min(used, pages.physicalSize);
    return percentage(static_cast<double>(used), static_cast<double>(pages.physicalSize));
}

} // namespace tallywick

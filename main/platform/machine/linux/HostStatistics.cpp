#include "platform/machine/linux/HostStatistics.h"

#include "base/WholeNumber.h"
#include "platform/files/FileAccess.h"
#include "platform/machine/HostStatistics.h"
#include "platform/machine/linux/TextFields.h"

#include <array>
#include <cstddef>

namespace tallywick {

namespace {

/// The rest of the first line whose first field is `name`.
std::optional<std::string_view> findLine(std::string_view text, std::string_view name) {
    while (!text.empty()) {
        std::string_view line = takeLine(text);
        if (takeField(line) == name)
            return line;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> memoryFigure(std::string_view text, std::string_view name) {
    auto line = findLine(text, name);
    return line ? wholeNumber<std::uint64_t>(takeField(*line)) : std::nullopt;
}

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

std::optional<CpuTicks> parseProcStat(std::string_view text) {
    enum Field : std::size_t { user, nice, system, idle, iowait, irq, softirq, steal, count };
    constexpr std::size_t required = iowait; // kernels before 2.6 have no further ones

    auto line = findLine(text, "cpu");
    if (!line)
        return std::nullopt;
    std::array<std::uint64_t, count> ticks{};
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        const std::string_view field = takeField(*line);
        if (field.empty() && i >= required)
            break;
        const auto value = wholeNumber<std::uint64_t>(field);
        if (!value)
            return std::nullopt;
        ticks.at(i) = *value;
    }

    CpuTicks result{.user = ticks[user], .system = 0, .idle = 0, .nice = ticks[nice]};
    const auto add = [](std::uint64_t& sum, std::uint64_t part) {
        return !__builtin_add_overflow(sum, part, &sum);
    };
    const bool fits = add(result.system, ticks[system]) && add(result.system, ticks[irq])
                      && add(result.system, ticks[softirq]) && add(result.system, ticks[steal])
                      && add(result.idle, ticks[idle]) && add(result.idle, ticks[iowait]);
    return fits ? std::optional(result) : std::nullopt;
}

std::optional<MemoryPages> parseMeminfo(std::string_view text) {
    constexpr std::uint64_t kibibyte = 1024;
    const auto total = memoryFigure(text, "MemTotal:");
    const auto available = memoryFigure(text, "MemAvailable:");
    std::uint64_t physicalSize = 0;
    if (!total || !available || *available > *total
        || __builtin_mul_overflow(*total, kibibyte, &physicalSize))
        return std::nullopt;
    return MemoryPages{
        .used = *total - *available, .pageSize = kibibyte, .physicalSize = physicalSize};
}

std::unique_ptr<HostStatistics> systemHostStatistics() {
    return std::make_unique<LinuxHostStatistics>();
}

} // namespace tallywick

#pragma once

#include "platform/machine/HostStatistics.h"

#include <optional>
#include <string_view>

namespace tallywick {

/// The ticks of all processors from the text of /proc/stat: nice is nice; system, irq, softirq and
/// steal are system; idle and iowait are idle. Time of guests is part of user and nice already.
/// Absent when one of the first four counters is missing or any is no unsigned 64-bit number.
std::optional<CpuTicks> parseProcStat(std::string_view text);

/// The memory in use from the text of /proc/meminfo: MemTotal less MemAvailable, as `free` counts
/// it, in pages of the kibibyte that the file counts in. Absent when either is missing or no
/// number, or more is available than there is.
std::optional<MemoryPages> parseMeminfo(std::string_view text);

} // namespace tallywick

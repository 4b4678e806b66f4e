#include "Fuzzer.h"
#include "history/HistoryFile.h"
#include "history/UsageHistory.h"

#include <algorithm>

void tallywick::fuzzing::examine(std::string_view input) {
    const auto decoded = decodeHistory(input);
    if (!decoded)
        return;
    constexpr Timestamp now = 1'800'000'000; // in January 2027, as the seeds have it
    const auto kept = normalise(*decoded, now);
    require(kept.size() <= maximumSamples);
    require(std::ranges::is_sorted(kept, {}, &UsageSample::timestamp));
    require(std::ranges::all_of(kept, [](const UsageSample& sample) {
        return sample.timestamp <= now && sample.timestamp >= now - historyRetention
               && sample.usedPercent >= 0 && sample.usedPercent <= 100
               && isAccountHash(sample.accountHash);
    }));
    require(decodeHistory(encodeHistory(kept)) == kept);
    require(normalise(kept, now).size() == kept.size());
    for (const UsageSample& sample : samplesAhead(*decoded, now))
        require(sample.timestamp > now);
}

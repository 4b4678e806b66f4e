#include "history/UsageHistory.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <tuple>

namespace tallywick {

namespace {

constexpr std::size_t accountHashLength = 64;

/// Samples of one account in ascending order of their timestamps, never empty. They belong to the
/// caller of `normalise`.
using Segment = std::vector<const UsageSample*>;

/// Every comparison is false for a number that is none.
bool isPlausible(const UsageSample& sample) {
    return std::isfinite(sample.timestamp) && sample.usedPercent >= 0 && sample.usedPercent <= 100
           && isPlausibleDate(sample.reset) && isAccountHash(sample.accountHash);
}

bool isRecent(const UsageSample& sample, Timestamp now) {
    return sample.timestamp >= now - historyRetention && sample.timestamp <= now;
}

bool isEarlier(const UsageSample* left, const UsageSample* right) {
    return left->timestamp < right->timestamp;
}

bool startsSegment(const UsageSample& sample, const UsageSample& previous) {
    return sample.startsSegment.value_or(false) || sample.reset != previous.reset
           || sample.usedPercent < previous.usedPercent
           || sample.timestamp - previous.timestamp > longestGap;
}

double slot(const UsageSample& sample) { return std::floor(sample.timestamp / thinningSlot); }

/// Adds the account's next sample. Of three in one slot the middle one goes.
void append(Segment& segment, const UsageSample& sample) {
    const std::size_t length = segment.size();
    if (length >= 2 && slot(*segment[length - 2]) == slot(sample))
        segment.back() = &sample;
    else
        segment.push_back(&sample);
}

/// The thinned segments of samples that are in ascending order of their timestamps.
std::vector<Segment> segmentsOf(const std::vector<const UsageSample*>& sorted) {
    std::vector<Segment> segments;
    std::map<std::string_view, std::size_t> currentSegments; // by account, a position in segments
    for (const UsageSample* sample : sorted) {
        const auto [entry, isNewAccount] =
            currentSegments.try_emplace(sample->accountHash, segments.size());
        if (!isNewAccount) {
            Segment& current = segments[entry->second];
            // Equal timestamps of one account follow one another, so no other sample can be double.
            if (current.back()->timestamp == sample->timestamp)
                continue;
            if (!startsSegment(*sample, *current.back())) {
                append(current, *sample);
                continue;
            }
            entry->second = segments.size();
        }
        segments.push_back({sample});
    }
    return segments;
}

/// How many samples each of the segments, which come newest first, may keep. Takes time
/// proportional to the number of segments and `maximumSamples`.
std::vector<std::size_t> allocationsFor(const std::vector<Segment>& segments) {
    std::vector<std::size_t> allocations;
    std::size_t total = 0;
    for (const Segment& segment : segments) {
        allocations.push_back(std::min<std::size_t>(segment.size(), 2));
        total += allocations.back();
    }
    for (std::size_t i = segments.size(); i-- > 0 && total > maximumSamples;) {
        if (allocations[i] == 2) {
            allocations[i] = 1;
            --total;
        }
    }
    std::vector<std::size_t> unfilled;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        if (allocations[i] < segments[i].size())
            unfilled.push_back(i);
    }
    while (total < maximumSamples && !unfilled.empty()) {
        for (const std::size_t i : unfilled) {
            if (total == maximumSamples)
                break;
            ++allocations[i];
            ++total;
        }
        std::erase_if(unfilled,
                      [&](std::size_t i) { return allocations[i] == segments[i].size(); });
    }
    return allocations;
}

/// The segment's last sample, or `count` of them evenly spread from the first to the last.
void pick(const Segment& segment, std::size_t count, std::vector<UsageSample>& picked) {
    const std::size_t first = picked.size();
    if (count == 1)
        picked.push_back(*segment.back());
    for (std::size_t j = 0; count > 1 && j < count; ++j)
        picked.push_back(*segment[j * (segment.size() - 1) / (count - 1)]);
    for (std::size_t i = first; i < picked.size(); ++i)
        picked[i].startsSegment.reset();
    picked[first].startsSegment = true;
}

} // namespace

bool isAccountHash(std::string_view text) {
    const auto isHexadecimal = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    };
    return text.size() == accountHashLength && std::ranges::all_of(text, isHexadecimal);
}

std::vector<UsageSample> normalise(std::span<const UsageSample> samples, Timestamp now) {
    std::vector<const UsageSample*> sorted;
    for (const UsageSample& sample : samples) {
        if (isPlausible(sample) && isRecent(sample, now))
            sorted.push_back(&sample);
    }
    std::ranges::stable_sort(sorted, isEarlier);

    std::vector<Segment> segments = segmentsOf(sorted);
    std::ranges::stable_sort(segments, [](const Segment& left, const Segment& right) {
        return isEarlier(right.back(), left.back());
    });
    if (segments.size() > maximumSegments)
        segments.resize(maximumSegments);

    const std::vector<std::size_t> allocations = allocationsFor(segments);
    std::vector<UsageSample> picked;
    for (std::size_t i = 0; i < segments.size(); ++i)
        pick(segments[i], allocations[i], picked);
    std::ranges::stable_sort(picked, {}, &UsageSample::timestamp);
    return picked;
}

std::vector<UsageSample> samplesAhead(std::span<const UsageSample> samples, Timestamp now) {
    std::vector<UsageSample> ahead;
    std::ranges::copy_if(samples, std::back_inserter(ahead), [&](const UsageSample& sample) {
        return isPlausible(sample) && sample.timestamp > now;
    });
    const auto reading = [](const UsageSample& sample) {
        return std::tie(sample.timestamp, sample.accountHash);
    };
    std::ranges::stable_sort(ahead, {}, reading);
    const auto isDouble = [&](const UsageSample& left, const UsageSample& right) {
        return reading(left) == reading(right);
    };
    ahead.erase(std::unique(ahead.begin(), ahead.end(), isDouble), ahead.end());
    if (ahead.size() > maximumSamplesAhead)
        ahead.resize(maximumSamplesAhead);
    return ahead;
}

} // namespace tallywick

#include "history/HistoryFile.h"

#include "base/Json.h"

namespace tallywick {

namespace {

/// 2001-01-01 00:00:00 UTC, from which the file counts its times.
constexpr Timestamp fileEpoch = 978'307'200;

constexpr const char* accountHashKey = "accountHash";
constexpr const char* resetKey = "reset";
constexpr const char* startsSegmentKey = "startsSegment";
constexpr const char* timestampKey = "timestamp";
constexpr const char* usedPercentKey = "usedPercent";

Json encode(const UsageSample& sample) {
    Json object = Json::object();
    object[accountHashKey] = sample.accountHash;
    object[resetKey] = sample.reset - fileEpoch;
    if (sample.startsSegment)
        object[startsSegmentKey] = *sample.startsSegment;
    object[timestampKey] = sample.timestamp - fileEpoch;
    object[usedPercentKey] = sample.usedPercent;
    return object;
}

std::optional<double> numberMember(const Json& value, const char* name) {
    const Json* found = member(value, name);
    if (!found || !found->is_number())
        return std::nullopt;
    return found->get<double>();
}

std::optional<UsageSample> decode(const Json& value) {
    const auto timestamp = numberMember(value, timestampKey);
    const auto usedPercent = numberMember(value, usedPercentKey);
    const auto reset = numberMember(value, resetKey);
    const std::string* accountHash = stringMember(value, accountHashKey);
    const auto startsSegment = boolMember(value, startsSegmentKey);
    if (!timestamp || !usedPercent || !reset || !accountHash
        || (member(value, startsSegmentKey) && !startsSegment))
        return std::nullopt;
    return UsageSample{*timestamp + fileEpoch, *usedPercent, *reset + fileEpoch, *accountHash,
                       startsSegment};
}

} // namespace

std::string encodeHistory(std::span<const UsageSample> samples) {
    Json array = Json::array();
    for (const UsageSample& sample : samples)
        array.push_back(encode(sample));
    return writeJson(array);
}

std::optional<std::vector<UsageSample>> decodeHistory(std::string_view text) {
    const std::optional<Json> array = parseJson(text);
    if (!array || !array->is_array())
        return std::nullopt;
    std::vector<UsageSample> samples;
    samples.reserve(array->size());
    for (const Json& element : *array) {
        std::optional<UsageSample> sample = decode(element);
        if (!sample)
            return std::nullopt;
        samples.push_back(std::move(*sample));
    }
    return samples;
}

} // namespace tallywick

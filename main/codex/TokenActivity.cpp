#include "codex/TokenActivity.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>

namespace tallywick {

namespace {

std::optional<std::int64_t> tokenCount(const Json* value) {
    const auto count = integerValue(value);
    return count && *count >= 0 ? count : std::nullopt;
}

/// The value of ASCII digits; absent when anything else stands among them.
std::optional<unsigned> digitsValue(std::string_view digits) {
    unsigned value = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9')
            return std::nullopt;
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    return value;
}

/// As printf's "%.1f" writes it in the C locale, whatever the locale is.
std::string withOneDecimal(double value) {
    std::array<char, 32> text{}; // the largest count of billions takes 12
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 1);
    return {text.data(), end.ptr};
}

} // namespace

TokenActivity tokenActivityFromUsage(const Json& result) {
    TokenActivity activity;
    if (const Json* summary = objectMember(result, "summary"))
        activity.lifetime = tokenCount(member(*summary, "lifetimeTokens"));

    const Json* buckets = member(result, "dailyUsageBuckets");
    if (!buckets || !buckets->is_array()
        || !std::all_of(buckets->begin(), buckets->end(),
                        [](const Json& bucket) { return bucket.is_object(); }))
        return activity;
    for (const Json& bucket : *buckets) {
        const std::string* day = stringMember(bucket, "startDate");
        const auto tokens = tokenCount(member(bucket, "tokens"));
        if (!day || !isCalendarDay(*day) || !tokens)
            continue;
        // The order of the characters is the order of the days; of one day the first entry counts.
        if (!activity.latestDay || *day > *activity.latestDay) {
            activity.latestDay = *day;
            activity.latestTokens = tokens;
        }
    }
    return activity;
}

bool isCalendarDay(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-')
        return false;
    const auto year = digitsValue(text.substr(0, 4));
    const auto month = digitsValue(text.substr(5, 2));
    const auto day = digitsValue(text.substr(8, 2));
    return year && *year >= 1 && month && day
           && std::chrono::year_month_day(std::chrono::year(static_cast<int>(*year)),
                                          std::chrono::month(*month), std::chrono::day(*day))
                  .ok();
}

std::string compactTokenCount(std::optional<std::int64_t> count) {
    if (!count)
        return "—";
    struct Unit {
        double tokens;
        char suffix;
    };
    // The unit is chosen before rounding: 999,950 is "1000.0K".
    constexpr std::array<Unit, 3> units{{{1e9, 'B'}, {1e6, 'M'}, {1e3, 'K'}}};
    const auto value = static_cast<double>(*count);
    for (const Unit& unit : units) {
        if (value >= unit.tokens)
            return withOneDecimal(value / unit.tokens) + unit.suffix;
    }
    return std::to_string(*count);
}

} // namespace tallywick

#include "sample-helper/SampleAccount.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace tallywick::sample {

namespace {

constexpr Second minute = 60;
constexpr Second hour = 60 * minute;
constexpr Second day = 24 * hour;
constexpr Second week = 7 * day;
constexpr Second fiveHours = 5 * hour;

/// How busy each hour of the day (UTC) is: quiet nights, a pause at noon.
constexpr std::array<std::int64_t, 24> busyness = {0, 0, 0,  0, 0, 0, 1, 4, 8, 10, 9, 4,
                                                   5, 9, 10, 9, 7, 5, 2, 3, 2, 1,  0, 0};

/// The finalizer of the SplitMix64 generator: numbers without a pattern, the same in every process.
std::uint64_t scrambled(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15U;
    value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31U);
}

bool isWeekend(Second daysSinceEpoch) {
    const Second sinceThursday = daysSinceEpoch % 7;
    return sinceThursday == 2 || sinceThursday == 3;
}

/// About three hours of eight go by without any work, the others with more or less of it.
std::int64_t tokensOfHour(const SampleAccount& account, Second hourSinceEpoch) {
    const std::uint64_t chance =
        scrambled(account.seed ^ static_cast<std::uint64_t>(hourSinceEpoch));
    const auto effort = static_cast<std::int64_t>(chance % 8);
    if (effort < 3)
        return 0;
    const auto tokensPerEffort = 17'000 + static_cast<std::int64_t>((chance >> 8U) % 9'000);
    const std::int64_t tokens =
        busyness[static_cast<std::size_t>(hourSinceEpoch % 24)] * effort * tokensPerEffort;
    return isWeekend(hourSinceEpoch / 24) ? tokens / 4 : tokens;
}

AllowanceWindow window(const SampleAccount& account, Second start, Second length,
                       std::int64_t allowance, Second now) {
    const std::int64_t percent = tokensBetween(account, start, now) * 100 / allowance;
    return {.usedPercent = static_cast<int>(std::min<std::int64_t>(percent, 100)),
            .minutes = static_cast<int>(length / minute),
            .resetsAt = start + length};
}

std::string dayText(Second startOfDay) {
    const std::chrono::sys_days date{std::chrono::days{startOfDay / day}};
    const std::chrono::year_month_day parts{date};
    std::array<char, 32> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(parts.year()),
                      static_cast<unsigned>(parts.month()), static_cast<unsigned>(parts.day()));
    return {text.data(), static_cast<std::size_t>(length)};
}

Second startOf(int year, unsigned month, unsigned dayOfMonth) {
    const std::chrono::sys_days date =
        std::chrono::year{year} / static_cast<int>(month) / static_cast<int>(dayOfMonth);
    return std::chrono::duration_cast<std::chrono::seconds>(date.time_since_epoch()).count();
}

} // namespace

SampleAccount firstSampleAccount() {
    return {.email = "robin.sample@example.com",
            .accountId = "sample-account-0001",
            .planType = "pro",
            .opened = startOf(2025, 11, 3),
            .weekOffset = 5 * day + 14 * hour + 37 * minute,
            .weeklyAllowance = 42'000'000,
            .seed = 0x5a11'0001};
}

SampleAccount secondSampleAccount() {
    return {.email = "kim.sample@example.invalid",
            .accountId = "sample-account-0002",
            .planType = "plus",
            .opened = startOf(2026, 3, 16),
            .weekOffset = day + 7 * hour + 5 * minute,
            .weeklyAllowance = 45'000'000,
            .seed = 0x5a11'0002};
}

std::int64_t tokensBetween(const SampleAccount& account, Second from, Second to) {
    std::int64_t sum = 0;
    for (Second start = from - from % hour; start < to; start += hour) {
        const std::int64_t tokens = tokensOfHour(account, start / hour);
        const Second begin = std::max(from - start, Second{0});
        const Second end = std::min(to - start, hour);
        sum += tokens * end / hour - tokens * begin / hour;
    }
    return sum;
}

AllowanceWindow weeklyWindow(const SampleAccount& account, Second now) {
    const Second start = now - (now - account.weekOffset) % week;
    return window(account, start, week, account.weeklyAllowance, now);
}

AllowanceWindow fiveHourWindow(const SampleAccount& account, Second now) {
    const Second start = now - now % fiveHours;
    return window(account, start, fiveHours, std::max<std::int64_t>(account.weeklyAllowance / 6, 1),
                  now);
}

std::vector<DailyTokens> dailyTokens(const SampleAccount& account, Second now) {
    std::vector<DailyTokens> days;
    for (Second start = std::min(account.opened, now - now % day); start <= now; start += day)
        days.push_back({dayText(start), tokensBetween(account, start, std::min(start + day, now))});
    return days;
}

} // namespace tallywick::sample

#include "sample-helper/SampleAccount.h"

#include <gmock/gmock.h>

namespace tallywick::sample {
namespace {

constexpr Second minute = 60;
constexpr Second hour = 60 * minute;
constexpr Second day = 24 * hour;
constexpr Second week = 7 * day;
constexpr Second midNovember = 1'794'969'000; ///< 2026-11-18 02:30 UTC

TEST(SampleAccount, FillsItsWeekInStepsAndStartsAnewAtTheReset) {
    for (const SampleAccount& account : {firstSampleAccount(), secondSampleAccount()}) {
        SCOPED_TRACE(account.email);
        const Second reset = weeklyWindow(account, midNovember).resetsAt;
        ASSERT_GT(reset, midNovember);
        EXPECT_LE(reset, midNovember + week);
        EXPECT_EQ(weeklyWindow(account, reset),
                  (AllowanceWindow{.usedPercent = 0, .minutes = 10'080, .resetsAt = reset + week}));

        int previous = 0;
        Second lastStep = reset - week;
        Second longestPause = 0;
        for (Second now = reset - week; now < reset; now += 7 * minute) {
            const AllowanceWindow window = weeklyWindow(account, now);
            ASSERT_EQ(window.resetsAt, reset) << now;
            ASSERT_GE(window.usedPercent, previous) << now;
            ASSERT_LE(window.usedPercent - previous, 2) << now;
            if (window.usedPercent > previous) {
                longestPause = std::max(longestPause, now - lastStep);
                lastStep = now;
            }
            previous = window.usedPercent;
        }
        EXPECT_GT(previous, 40);
        EXPECT_LE(previous, 100);
        EXPECT_GE(longestPause, 6 * hour) << "the nights are not quiet";
    }
}

TEST(SampleAccount, NeverExceedsAnAllowance) {
    SampleAccount account = firstSampleAccount();
    account.weeklyAllowance = 1;
    const Second noon = midNovember + 10 * hour;
    EXPECT_EQ(weeklyWindow(account, noon).usedPercent, 100);
    for (Second now = noon; now < noon + day; now += hour) {
        const AllowanceWindow window = fiveHourWindow(account, now);
        ASSERT_EQ(window.minutes, 300);
        ASSERT_TRUE(window.resetsAt > now && window.resetsAt <= now + 5 * hour) << now;
        ASSERT_TRUE(window.usedPercent >= 0 && window.usedPercent <= 100) << now;
    }
}

TEST(SampleAccount, ReportsDaysThatAddUpToWhatItUsed) {
    const SampleAccount account = firstSampleAccount();
    struct Case {
        const char* name;
        Second now;
        std::size_t days;
        const char* lastDay;
    };
    const Case cases[] = {
        {"at night", midNovember, 381, "2026-11-18"},
        {"in the middle of a busy hour", midNovember + 7 * hour + 1234, 381, "2026-11-18"},
        {"in the last second of a day", 1'795'046'399, 381, "2026-11-18"},
        {"in the first second of a day", 1'795'046'400, 382, "2026-11-19"},
        {"in its first second", account.opened, 1, "2025-11-03"},
        {"before it was opened", 951'868'799, 1, "2000-02-29"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        const std::vector<DailyTokens> days = dailyTokens(account, row.now);
        ASSERT_EQ(days.size(), row.days);
        EXPECT_EQ(days.back().day, row.lastDay);
        std::int64_t sum = 0;
        for (std::size_t i = 0; i < days.size(); ++i) {
            ASSERT_TRUE(i == 0 || days[i - 1].day < days[i].day) << days[i].day;
            sum += days[i].tokens;
        }
        const Second first = row.now - row.now % day - static_cast<Second>(row.days - 1) * day;
        EXPECT_EQ(sum, tokensBetween(account, first, row.now));
    }
    EXPECT_GT(tokensBetween(account, account.opened, midNovember), 1'000'000'000);
}

} // namespace
} // namespace tallywick::sample
